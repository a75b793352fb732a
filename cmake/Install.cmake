# What is installed, in components that are also Debian's packages (debian/rules): the library that
# programs load, what is needed to build such programs, the guides, the command-line host, the package for
# Python, and the plug-in where it is built.
include(CMakePackageConfigHelpers)

install(TARGETS tivar_shared EXPORT tivar-targets
  LIBRARY COMPONENT libtivar2 NAMELINK_COMPONENT libtivar-dev)
install(TARGETS tivar_static EXPORT tivar-targets
  ARCHIVE COMPONENT libtivar-dev)
install(DIRECTORY include/tivar TYPE INCLUDE COMPONENT libtivar-dev)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tivar)
install(EXPORT tivar-targets NAMESPACE tivar:: DESTINATION ${package_dir} COMPONENT libtivar-dev)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/tivar-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES cmake/tivar-config.cmake ${CMAKE_BINARY_DIR}/tivar-config-version.cmake
  DESTINATION ${package_dir} COMPONENT libtivar-dev)

# The way from libtivar.pc to the prefix, so that an installed tree can be moved.
file(RELATIVE_PATH pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${pc_prefix}")
configure_file(cmake/libtivar.pc.in libtivar.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/libtivar.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libtivar-dev)

install(FILES docs/man/tivar.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT libtivar-dev)
# The guides and what they point to, in one place, so that links lead somewhere.
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/tivar)
install(FILES README.md CONTRIBUTING.md NEWS.md DESTINATION ${doc_dir} COMPONENT tivar-doc)
install(DIRECTORY docs examples DESTINATION ${doc_dir} COMPONENT tivar-doc
  PATTERN man EXCLUDE PATTERN CMakeLists.txt EXCLUDE PATTERN check_example.py EXCLUDE)
# Of no package: those say their licence in Debian's form.
install(FILES LICENSE DESTINATION ${doc_dir} COMPONENT licence)
if(TIVAR_BUILD_TOOL)
  install(TARGETS tivar RUNTIME COMPONENT tivar)
  install(FILES docs/man/tivar.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tivar)
  install(FILES tools/tivar/bash-completion RENAME tivar
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tivar)
endif()
include(cmake/Python.cmake)
if(TIVAR_BUILD_GIMP)
  # Below the prefix as it is below GIMP's own.
  pkg_get_variable(gimp_prefix gimp-2.0 prefix)
  pkg_get_variable(gimp_directory gimp-2.0 gimplibdir)
  file(RELATIVE_PATH gimp_directory ${gimp_prefix} ${gimp_directory})
  install(TARGETS file-tivar
    RUNTIME DESTINATION ${gimp_directory}/plug-ins/file-tivar COMPONENT gimp-tivar)
  install(FILES docs/gimp.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/gimp-tivar COMPONENT gimp-tivar)
endif()
