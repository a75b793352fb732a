# What the tool is built with on Linux: libraries that read and write pictures.
#
# The fuzz targets link what the program does.
set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL ON)
find_package(CLI11 REQUIRED CONFIG)

# Libraries of pictures are loaded with the first one that needs them: the name that the loader knows, and
# Debian's package, where it is not called as its library is.
function(find_lazy_library name header)
  cmake_parse_arguments(PARSE_ARGV 2 lazy "OPTIONAL" "PACKAGE" "")
  string(TOUPPER ${name} upper)
  find_path(${upper}_INCLUDE_DIR ${header})
  find_library(${upper}_LIBRARY ${name})
  if(${upper}_INCLUDE_DIR AND ${upper}_LIBRARY)
    file(REAL_PATH ${${upper}_LIBRARY} real)
    string(REGEX MATCH "lib${name}\\.so\\.[0-9]+" loaded ${real})
    target_compile_definitions(tivar PRIVATE TIVAR_${upper}_LIBRARY="${loaded}")
    target_include_directories(tivar SYSTEM PRIVATE ${${upper}_INCLUDE_DIR})
    if(NOT lazy_PACKAGE)
      # A hyphen keeps the digits of the name from those of the version.
      string(REGEX REPLACE "([0-9])\\.so\\." "\\1-" lazy_PACKAGE ${loaded})
      string(REGEX REPLACE "\\.so\\." "" lazy_PACKAGE ${lazy_PACKAGE})
    endif()
    set(TIVAR_${upper}_PACKAGE ${lazy_PACKAGE} CACHE INTERNAL "Debian's package of lib${name}")
  elseif(NOT lazy_OPTIONAL)
    message(FATAL_ERROR "lib${name} is missing")
  endif()
endfunction()

find_lazy_library(png16 png.h)
find_lazy_library(jpeg jpeglib.h PACKAGE libjpeg62-turbo)
find_lazy_library(netpbm netpbm/pnm.h)
find_lazy_library(lcms2 lcms2.h)
find_lazy_library(gif gif_lib.h)
find_lazy_library(webpdemux webp/demux.h)
find_lazy_library(tiff tiffio.h)
find_lazy_library(heif libheif/heif.h OPTIONAL)
find_lazy_library(zimg zimg.h)
target_compile_definitions(tivar PRIVATE
  TIVAR_LIBRARY_NAME="libtivar.so.${PROJECT_VERSION_MAJOR}"
  TIVAR_BUILT_LIBRARY_NAME="libtivar.so"
  $<$<BOOL:${TIVAR_HEIF_PACKAGE}>:TIVAR_READS_HEIF>)
target_link_libraries(tivar PRIVATE CLI11::CLI11)
# To bind a shared C++ library's functions would be half of the time that a small picture takes.
include(CheckLinkerFlag)
check_linker_flag(CXX "-static-libstdc++;-static-libgcc" TIVAR_STATIC_CXX)
if(TIVAR_STATIC_CXX AND NOT TIVAR_SANITIZE)
  target_link_options(tivar PRIVATE -static-libstdc++ -static-libgcc)
endif()
