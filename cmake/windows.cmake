# Debian's MinGW-w64 for the processor that TIVAR_TRIPLET names. What it builds needs no library but the
# system's own, and runs here under Wine.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TIVAR_TRIPLET)
string(REGEX REPLACE "-.*" "" processor "${TIVAR_TRIPLET}")
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${processor})
set(CMAKE_C_COMPILER ${TIVAR_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TIVAR_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${TIVAR_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${TIVAR_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tests/windows/wine)

# Windows 7 and later.
set(windows_flags "-D_WIN32_WINNT=0x0601")
if(processor STREQUAL "i686")
  # SSE2 arithmetic, so that both word sizes compute the same bytes. Hosts and the system call with a
  # stack that is aligned to a word only.
  string(APPEND windows_flags " -msse2 -mfpmath=sse -mstackrealign")
endif()
set(CMAKE_C_FLAGS_INIT ${windows_flags})
set(CMAKE_CXX_FLAGS_INIT ${windows_flags})
# Without the time of the build, so that the same sources give the same files.
set(windows_link_flags "-static -Wl,--no-insert-timestamp")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${windows_link_flags})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${windows_link_flags})
