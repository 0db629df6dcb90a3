# Flags shared by every target of the project.
add_library(kelvora_options INTERFACE)
target_compile_features(kelvora_options INTERFACE cxx_std_17)
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  # No contraction: the pipeline's results are fixed to the bit, and a fused
  # multiply-add the compiler picks on its own would change them per target.
  target_compile_options(kelvora_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow
    -ffp-contract=off)
  if(KELVORA_WERROR)
    target_compile_options(kelvora_options INTERFACE -Werror)
  endif()
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(arm|armv7)")
    target_compile_options(kelvora_options INTERFACE -mfpu=neon)
  endif()
endif()
# The AVX2 forms need GCC or Clang (per-file target flags and the processor
# check) and make no sense with the scalar backend forced.
set(KELVORA_WIDE_X86 OFF)
if(KELVORA_WIDE_VECTORS AND NOT KELVORA_FORCE_SCALAR
   AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$"
   AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  set(KELVORA_WIDE_X86 ON)
  target_compile_definitions(kelvora_options INTERFACE KELVORA_WIDE_X86=1)
endif()
if(KELVORA_FORCE_SCALAR)
  target_compile_definitions(kelvora_options INTERFACE KELVORA_FORCE_SCALAR=1)
endif()
if(KELVORA_SANITIZE)
  target_compile_options(kelvora_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kelvora_options INTERFACE -fsanitize=address,undefined)
endif()
