# What the tool is built with for Windows: the system's own codecs of pictures, two libraries of which
# the headers are enough, and what stands for the calls of POSIX.
foreach(header CLI/CLI.hpp zimg.h)
  find_path(host_include ${header} PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  string(REGEX REPLACE "/.*" "" entry ${header})
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/host-include)
  file(CREATE_LINK ${host_include}/${entry} ${CMAKE_BINARY_DIR}/host-include/${entry} SYMBOLIC)
endforeach()
set(posix ${CMAKE_CURRENT_SOURCE_DIR}/process/windows)
target_include_directories(tivar SYSTEM PRIVATE ${CMAKE_BINARY_DIR}/host-include)
target_include_directories(tivar PRIVATE ${posix}/include)
target_compile_options(tivar PRIVATE $<$<COMPILE_LANGUAGE:CXX>:SHELL:-include ${posix}/posix.h>)
target_compile_definitions(tivar PRIVATE
  _FILE_OFFSET_BITS=64 UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
  TIVAR_LIBRARY_NAME="$<TARGET_FILE_NAME:tivar_shared>"
  TIVAR_BUILT_LIBRARY_NAME="$<TARGET_FILE_NAME:tivar_shared>"
  TIVAR_ZIMG_LIBRARY="libzimg-2.dll"
  TIVAR_READS_HEIF)
target_link_options(tivar PRIVATE $<$<CONFIG:Release>:-s>)
target_link_libraries(tivar PRIVATE ole32 oleaut32 windowscodecs uuid shell32)
# windows.h has names that others use, too.
set_source_files_properties(
  export/windows/workers.cpp process/windows/posix_files.cpp process/windows/posix_system.cpp
  TARGET_DIRECTORY tivar PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
