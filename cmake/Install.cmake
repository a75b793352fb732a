# What is installed, in components that are also the packages: the library that programs load, what is
# needed to build such programs, the command-line host, the package for Python, and the plug-in where it
# is built.
include(CMakePackageConfigHelpers)
set(tivar_components libtivar2 libtivar-dev)

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

# Installs text of the source tree compressed, without the date that gzip would add. Further arguments
# go to install().
function(tivar_install_compressed source name destination component)
  set(packed ${CMAKE_BINARY_DIR}/share/${component}/${name}.gz)
  add_custom_command(OUTPUT ${packed}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/share/${component}
    COMMAND gzip -9nc ${source} > ${packed}
    DEPENDS ${source} VERBATIM)
  set_property(GLOBAL APPEND PROPERTY tivar_packed ${packed})
  install(FILES ${packed} DESTINATION ${destination} COMPONENT ${component} ${ARGN})
endfunction()

tivar_install_compressed(${PROJECT_SOURCE_DIR}/docs/man/tivar.3 tivar.3
  ${CMAKE_INSTALL_MANDIR}/man3 libtivar-dev)
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/libtivar-dev)
install(FILES README.md CONTRIBUTING.md NEWS.md LICENSE DESTINATION ${doc_dir} COMPONENT libtivar-dev)
install(DIRECTORY docs examples DESTINATION ${doc_dir} COMPONENT libtivar-dev
  PATTERN man EXCLUDE PATTERN CMakeLists.txt EXCLUDE PATTERN check_example.py EXCLUDE)
if(TIVAR_BUILD_TOOL)
  list(APPEND tivar_components tivar)
  install(TARGETS tivar RUNTIME COMPONENT tivar)
  tivar_install_compressed(${PROJECT_SOURCE_DIR}/docs/man/tivar.1 tivar.1
    ${CMAKE_INSTALL_MANDIR}/man1 tivar)
  install(FILES packaging/tivar.bash-completion RENAME tivar
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tivar)
endif()
include(cmake/Python.cmake)
if(TIVAR_BUILD_GIMP)
  list(APPEND tivar_components gimp-tivar)
  # Below the prefix as it is below GIMP's own.
  pkg_get_variable(gimp_prefix gimp-2.0 prefix)
  pkg_get_variable(gimp_directory gimp-2.0 gimplibdir)
  file(RELATIVE_PATH gimp_directory ${gimp_prefix} ${gimp_directory})
  install(TARGETS file-tivar
    RUNTIME DESTINATION ${gimp_directory}/plug-ins/file-tivar COMPONENT gimp-tivar)
  install(FILES docs/gimp.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/gimp-tivar COMPONENT gimp-tivar)
endif()
foreach(component IN LISTS tivar_components)
  set(when "")
  if(component STREQUAL python3-tivar)
    set(when EXCLUDE_FROM_ALL)
  endif()
  set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/${component})
  tivar_install_compressed(${PROJECT_SOURCE_DIR}/packaging/changelog changelog
    ${doc_dir} ${component} ${when})
  # Where Debian's packages tell their licence.
  install(FILES LICENSE RENAME copyright DESTINATION ${doc_dir} COMPONENT ${component} ${when})
endforeach()
get_property(packed GLOBAL PROPERTY tivar_packed)
add_custom_target(tivar_share ALL DEPENDS ${packed})
