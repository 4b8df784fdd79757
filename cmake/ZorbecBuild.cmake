# Options for all targets, and functions that make the targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Programs are put at the top of the build folder, where people look for them.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED)

# Developers and CI turn this on. It is off by default: a newer compiler may have new warnings, and
# people who only want to use the program must still be able to build it.
option(ZORBEC_WERROR "Take compiler warnings as errors" OFF)
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(ZORBEC_WERROR)
  add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-Wno-unknown-warning-option)
endif()

# Targets that are added after this call are compiled and linked with the sanitizers.
macro(zorbec_sanitize)
  if(ZORBEC_SANITIZE)
    add_compile_options(-fsanitize=${ZORBEC_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      # These checks need a runtime that only C++ programs have. Hosts may be written in C.
      add_compile_options(-fno-sanitize=vptr,function)
    endif()
    add_link_options(-fsanitize=${ZORBEC_SANITIZE})
    set(zorbec_is_sanitized ON)
  endif()
endmacro()

# Adds the static library of one folder of the tree: its SOURCES, and the libraries that it USES.
# Sources include headers as "folder/header.h".
function(zorbec_folder name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES")
  add_library(${name} STATIC ${arg_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${arg_USES})
  if(zorbec_is_fuzzed)
    # Adds the coverage counters with which a fuzzer sees which code an input reaches.
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()

# For code that need not be fast and that uses libraries (for options, for JSON) that take long to
# compile.
function(zorbec_optimize_little target)
  target_compile_options(${target} PRIVATE $<IF:$<CONFIG:Release>,-O1,-O0>)
endfunction()

# Links a program statically, so that it can be copied to another machine alone. Sanitizers do not
# work in static programs, so sanitized ones stay dynamic.
function(zorbec_self_contained target)
  if(NOT zorbec_is_sanitized)
    target_link_options(${target} PRIVATE -static)
  endif()
endfunction()
