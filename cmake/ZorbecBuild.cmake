# How everything here is compiled, and the two ways to link it.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# What people start stands at the top of the build folder.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED)

# Where we build it, a warning is an error. A newer compiler may warn of more: then a clone that is
# only to be used still builds.
option(ZORBEC_WERROR "Take compiler warnings as errors" OFF)
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(ZORBEC_WERROR)
  add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-Wno-unknown-warning-option)
endif()

# Compiles and links with the sanitizers whatever is added from here on.
macro(zorbec_sanitize)
  if(ZORBEC_SANITIZE)
    add_compile_options(-fsanitize=${ZORBEC_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      # Hosts are written in C, and the runtime for these is there in C++ programs only.
      add_compile_options(-fno-sanitize=vptr,function)
    endif()
    add_link_options(-fsanitize=${ZORBEC_SANITIZE})
    set(zorbec_is_sanitized ON)
  endif()
endmacro()

# A library for one folder of the tree. Sources include headers as "folder/header.h".
function(zorbec_folder name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES")
  add_library(${name} STATIC ${arg_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${arg_USES})
  if(zorbec_is_fuzzed)
    # Fuzzers follow which way it goes.
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()

# For code whose run time nobody notices, and whose libraries of options and JSON take a compiler long.
function(zorbec_optimize_little target)
  target_compile_options(${target} PRIVATE $<IF:$<CONFIG:Release>,-O1,-O0>)
endfunction()

# A program that can be copied to another machine by itself. Sanitizers do not work in static programs,
# so sanitized ones stay dynamic.
function(zorbec_self_contained target)
  if(NOT zorbec_is_sanitized)
    target_link_options(${target} PRIVATE -static)
  endif()
endfunction()
