# The Debian packages, one for each component of the installation.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tivar)
set(CPACK_PACKAGE_VENDOR "Tivar developers")
set(CPACK_PACKAGE_CONTACT "Tivar developers <tivar@localhost>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/package)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${tivar_components})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Other packages that link the library depend on this one.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBTIVAR2_PACKAGE_NAME libtivar2)
set(CPACK_DEBIAN_LIBTIVAR2_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBTIVAR2_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBTIVAR2_DESCRIPTION "BMP export filter that a host loads at run time
This library turns a picture into a BMP file of 1, 4, 8 or 24 bits per
pixel, with a Windows or an OS/2 header, raw or run-length encoded. It
reduces colours, dithers, changes depth and scales on the way.")

set(CPACK_DEBIAN_LIBTIVAR-DEV_PACKAGE_NAME libtivar-dev)
set(CPACK_DEBIAN_LIBTIVAR-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBTIVAR-DEV_PACKAGE_DEPENDS "libtivar2 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LIBTIVAR-DEV_DESCRIPTION "BMP export filter - development files
The headers, the archive, and what pkg-config and CMake need to build
programs with the export filter libtivar.")

# The tool loads the library by name, and others with the first picture that needs them, which
# shlibdeps does not see.
set(CPACK_DEBIAN_TIVAR_PACKAGE_NAME tivar)
set(CPACK_DEBIAN_TIVAR_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TIVAR_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TIVAR_PACKAGE_DEPENDS "libtivar2 (= ${PROJECT_VERSION}), ${TIVAR_PNG16_PACKAGE}, ${TIVAR_JPEG_PACKAGE}, ${TIVAR_NETPBM_PACKAGE}, ${TIVAR_LCMS2_PACKAGE}, ${TIVAR_GIF_PACKAGE}, ${TIVAR_WEBPDEMUX_PACKAGE}, ${TIVAR_TIFF_PACKAGE}, ${TIVAR_ZIMG_PACKAGE}")
set(CPACK_DEBIAN_TIVAR_PACKAGE_RECOMMENDS "${TIVAR_HEIF_PACKAGE}")
set(CPACK_DEBIAN_TIVAR_DESCRIPTION "export pictures as BMP files on the command line
A host of the export filter libtivar: it reads BMP, PNG, JPEG, GIF, TIFF,
WebP, HEIF and PNM pictures and writes BMP files of 1, 4, 8 or 24 bits
per pixel, raw or run-length encoded, through the library. It also
inspects and decodes BMP files.")

# The library is loaded by name. Python compiles the files where they are installed.
set(CPACK_DEBIAN_PYTHON3-TIVAR_PACKAGE_NAME python3-tivar)
set(CPACK_DEBIAN_PYTHON3-TIVAR_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON3-TIVAR_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON3-TIVAR_PACKAGE_DEPENDS "libtivar2 (= ${PROJECT_VERSION}), python3:any (>= 3.9)")
set(CPACK_DEBIAN_PYTHON3-TIVAR_PACKAGE_SUGGESTS "python3-pil, python3-numpy")
set(CPACK_DEBIAN_PYTHON3-TIVAR_PACKAGE_CONTROL_EXTRA
  "${PROJECT_SOURCE_DIR}/packaging/python3-tivar/postinst;${PROJECT_SOURCE_DIR}/packaging/python3-tivar/prerm")
set(CPACK_DEBIAN_PYTHON3-TIVAR_DESCRIPTION "BMP files from Python
Writes pictures of Pillow, numpy arrays, bytes and rows as BMP files of
1 to 32 bits per pixel through the library libtivar, with several
threads at the same time.")

# The plug-in is linked with the library, which lies in the build tree.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
set(CPACK_DEBIAN_GIMP-TIVAR_PACKAGE_NAME gimp-tivar)
set(CPACK_DEBIAN_GIMP-TIVAR_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_GIMP-TIVAR_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_GIMP-TIVAR_PACKAGE_DEPENDS
  "libtivar2 (= ${PROJECT_VERSION}), gimp (>= 2.10), gimp (<< 2.99)")
set(CPACK_DEBIAN_GIMP-TIVAR_DESCRIPTION "export BMP files from GIMP through libtivar
A plug-in for GIMP 2.10: it writes BMP files of 1, 4, 8, 16, 24 or 32
bits per pixel with a Windows or an OS/2 header, raw or run-length
encoded, and chooses palettes and dithers. GIMP's own BMP export stays
as it is.")

set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
include(CPack)
