# What `cmake --install` puts where, as three components: libtivar2 (the library), libtivar-dev (header,
# static library, pkg-config and CMake files) and tivar (the command-line host).
include(CMakePackageConfigHelpers)

set_target_properties(tivar_shared PROPERTIES EXPORT_NAME tivar)
set_target_properties(tivar_static PROPERTIES EXPORT_NAME tivar_static)
foreach(library IN ITEMS tivar_shared tivar_static)
  target_include_directories(${library} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()

install(TARGETS tivar_shared EXPORT tivarTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT libtivar2 NAMELINK_COMPONENT libtivar-dev)
install(TARGETS tivar_static EXPORT tivarTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libtivar-dev)
install(DIRECTORY include/tivar DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libtivar-dev)

install(EXPORT tivarTargets NAMESPACE tivar::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tivar COMPONENT libtivar-dev)
configure_package_config_file(cmake/tivar-config.cmake.in tivar-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tivar)
write_basic_package_version_file(tivar-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/tivar-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/tivar-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tivar COMPONENT libtivar-dev)

configure_file(cmake/libtivar.pc.in libtivar.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libtivar.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libtivar-dev)
install(FILES docs/man/tivar.3
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT libtivar-dev)

if(TIVAR_BUILD_TOOL)
  install(TARGETS tivar RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tivar)
  install(FILES docs/man/tivar.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tivar)
  install(FILES completions/tivar
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tivar)
endif()

# Debian packages, one a component: `cpack -G DEB`.
set(CPACK_PACKAGE_NAME tivar)
set(CPACK_PACKAGE_VENDOR "tivar")
set(CPACK_PACKAGE_CONTACT "tivar developers <tivar@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL libtivar2 libtivar-dev tivar)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_LIBTIVAR2_PACKAGE_NAME libtivar2)
set(CPACK_DEBIAN_LIBTIVAR2_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBTIVAR2_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBTIVAR2_DESCRIPTION "BMP export filter, shared library")
set(CPACK_DEBIAN_LIBTIVAR-DEV_PACKAGE_NAME libtivar-dev)
set(CPACK_DEBIAN_LIBTIVAR-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBTIVAR-DEV_PACKAGE_DEPENDS "libtivar2 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LIBTIVAR-DEV_DESCRIPTION "BMP export filter, files for developing hosts")
set(CPACK_DEBIAN_TIVAR_PACKAGE_NAME tivar)
set(CPACK_DEBIAN_TIVAR_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TIVAR_PACKAGE_DEPENDS "libtivar2 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TIVAR_DESCRIPTION "BMP export filter, command-line host")
include(CPack)
