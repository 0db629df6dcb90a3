# Cross build for 32-bit ARM Linux (armv7-a with NEON, hard-float ABI) with
# Clang and lld, the compiler Android's NDK uses for armeabi-v7a, run under
# qemu-arm. Headers and libraries are those of Debian's GNU cross toolchain
# (g++-arm-linux-gnueabihf): its libstdc++, so the sysroot that
# scripts/build-arm-deps.sh fills with GCC serves this build as well.
include(${CMAKE_CURRENT_LIST_DIR}/KelvoraArmv7Target.cmake)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${KELVORA_ARM_TRIPLE})
set(CMAKE_CXX_COMPILER_TARGET ${KELVORA_ARM_TRIPLE})
# The GNU cross tree keeps the target's headers and libraries under
# /usr/<triple> but names them by absolute paths in its linker scripts
# (libc.so), so it is a sysroot for compiling only: headers come from there
# and never from the host's /usr/include, while the linker finds the same
# libraries through the GCC installation that --gcc-toolchain names.
set(CMAKE_SYSROOT_COMPILE /usr/${KELVORA_ARM_TRIPLE})
set(KELVORA_ARM_CLANG_FLAGS "${KELVORA_ARM_FLAGS} --gcc-toolchain=/usr")
set(CMAKE_C_FLAGS_INIT "${KELVORA_ARM_CLANG_FLAGS}")
set(CMAKE_CXX_FLAGS_INIT "${KELVORA_ARM_CLANG_FLAGS}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-fuse-ld=lld")
