# What is installed, and where; and the Debian package. The lab, the benchmark and the tests are not
# installed.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS zorbec RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS zorbec_shared EXPORT zorbec
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES api/zorbec.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# For hosts that use CMake: find_package(zorbec) gives the target zorbec::zorbec. The library
# depends on no other package, so the file of exported targets is the whole configuration.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zorbec)
install(EXPORT zorbec FILE zorbecConfig.cmake NAMESPACE zorbec:: DESTINATION ${package_dir})
write_basic_package_version_file(zorbecConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zorbecConfigVersion.cmake DESTINATION ${package_dir})

# For hosts that use pkg-config. The prefix is relative to the place of the .pc file, so that an
# installed copy can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir}
  OUTPUT_VARIABLE prefix_from_pkgconfig)
configure_file(cmake/zorbec.pc.in zorbec.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zorbec.pc DESTINATION ${pkgconfig_dir})

install(FILES docs/man/zorbec.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES docs/man/zorbec.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)
install(FILES completions/zorbec.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME zorbec)
# The documents stay in a folder docs/, because README.md links to them there.
file(GLOB documents CONFIGURE_DEPENDS docs/*.md docs/*.json)
install(FILES README.md ARCHITECTURE.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_VENDOR zorbec)
set(CPACK_PACKAGE_CONTACT "zorbec developers <zorbec@localhost.invalid>")
set(CPACK_PACKAGE_DESCRIPTION
  "Compares, from the active route processor, the keys that every node's
forwarding hardware holds with those that the router's interfaces need, and
the multicast routes of the route processor with what every line card has
made of them. Nothing on the router is changed.
.
This package holds the command and the C library.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
include(CPack)
