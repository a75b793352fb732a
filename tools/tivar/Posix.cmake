# What the tool is built with on Linux: libraries that read and write pictures.
#
# The fuzz targets link what the program does.
set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL ON)
find_package(PNG REQUIRED)
find_package(JPEG REQUIRED)
find_package(CLI11 REQUIRED CONFIG)
find_path(NETPBM_INCLUDE_DIR netpbm/pnm.h REQUIRED)
find_library(NETPBM_LIBRARY netpbm REQUIRED)
find_path(LCMS_INCLUDE_DIR lcms2.h REQUIRED)
find_library(LCMS_LIBRARY lcms2 REQUIRED)
find_package(GIF REQUIRED)
find_path(WEBP_INCLUDE_DIR webp/demux.h REQUIRED)
find_library(WEBP_LIBRARY webp REQUIRED)
find_library(WEBPDEMUX_LIBRARY webpdemux REQUIRED)

# Libraries that are loaded with the first picture that needs them: the name that the loader knows.
function(find_lazy_library name header)
  string(TOUPPER ${name} upper)
  find_path(${upper}_INCLUDE_DIR ${header})
  find_library(${upper}_LIBRARY ${name})
  if(${upper}_INCLUDE_DIR AND ${upper}_LIBRARY)
    file(REAL_PATH ${${upper}_LIBRARY} real)
    string(REGEX MATCH "lib${name}\\.so\\.[0-9]+" loaded ${real})
    target_compile_definitions(tivar PRIVATE TIVAR_${upper}_LIBRARY="${loaded}")
    target_include_directories(tivar SYSTEM PRIVATE ${${upper}_INCLUDE_DIR})
    string(REGEX REPLACE "\\.so\\." "" package ${loaded})
    set(TIVAR_${upper}_PACKAGE ${package} CACHE INTERNAL "Debian's package of lib${name}")
  endif()
endfunction()

target_include_directories(tivar SYSTEM PRIVATE ${NETPBM_INCLUDE_DIR} ${LCMS_INCLUDE_DIR} ${WEBP_INCLUDE_DIR})
find_lazy_library(tiff tiffio.h)
find_lazy_library(heif libheif/heif.h)
find_lazy_library(zimg zimg.h)
if(NOT TIVAR_TIFF_PACKAGE)
  message(FATAL_ERROR "libtiff is missing")
endif()
if(NOT TIVAR_ZIMG_PACKAGE)
  message(FATAL_ERROR "libzimg is missing")
endif()
target_compile_definitions(tivar PRIVATE
  TIVAR_LIBRARY_NAME="libtivar.so.${PROJECT_VERSION_MAJOR}"
  TIVAR_BUILT_LIBRARY_NAME="libtivar.so"
  $<$<BOOL:${TIVAR_HEIF_PACKAGE}>:TIVAR_READS_HEIF>)
target_link_libraries(tivar PRIVATE
  CLI11::CLI11 PNG::PNG JPEG::JPEG ${NETPBM_LIBRARY} ${LCMS_LIBRARY} GIF::GIF ${WEBP_LIBRARY} ${WEBPDEMUX_LIBRARY})
