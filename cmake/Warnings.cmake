# Flags that every target of the project shares, as an interface library.
add_library(tivar_flags INTERFACE)
target_compile_options(tivar_flags INTERFACE
  -Wall -Wextra -Wshadow -Wconversion
  # The same bytes on every machine: no fused multiply-add behind the code's back.
  -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 sees overlapping copies inside std::string where there are none.
  target_compile_options(tivar_flags INTERFACE -Wno-restrict)
endif()
if(TIVAR_NO_SIMD)
  target_compile_definitions(tivar_flags INTERFACE TIVAR_NO_SIMD)
endif()
if(TIVAR_BASELINE)
  target_compile_definitions(tivar_flags INTERFACE TIVAR_BASELINE)
endif()
if(TIVAR_WERROR)
  target_compile_options(tivar_flags INTERFACE -Werror)
endif()
if(TIVAR_SANITIZE)
  target_compile_options(tivar_flags INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tivar_flags INTERFACE -fsanitize=address,undefined)
endif()
if(TIVAR_SANITIZE_THREADS)
  target_compile_options(tivar_flags INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(tivar_flags INTERFACE -fsanitize=thread)
endif()
