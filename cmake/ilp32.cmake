# 32-bit words with SSE2 arithmetic, so that both word sizes compute the same bytes. The kernel's headers
# are found behind all others: the package gcc-multilib, which would show them to -m32, excludes the
# compilers for other processors.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_FLAGS_INIT "-m32 -msse2 -mfpmath=sse -idirafter /usr/include/x86_64-linux-gnu")
set(CMAKE_CXX_FLAGS_INIT "-m32 -msse2 -mfpmath=sse -idirafter /usr/include/x86_64-linux-gnu")
set(CMAKE_CROSSCOMPILING_EMULATOR "")
