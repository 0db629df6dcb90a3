# What both armv7 toolchain files share: the target (32-bit ARM Linux,
# armv7-a with NEON, hard-float ABI, Debian's arm-linux-gnueabihf cross
# libraries), qemu-arm to run its programs, and the sysroot of cross-built
# third-party libraries. The including toolchain file names the compiler.
#
# Third-party libraries (GoogleTest, kissfft) come from a sysroot that
# scripts/build-arm-deps.sh fills; pass its path as KELVORA_ARM_SYSROOT
# (default: <build dir>/sysroot).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7)

set(KELVORA_ARM_TRIPLE arm-linux-gnueabihf)
# Thumb-2, as the NDK builds armeabi-v7a by default and as Debian's GCC does
# anyway; Clang would otherwise emit ARM code, and the two compilers'
# instruction counts would not compare.
set(KELVORA_ARM_FLAGS "-march=armv7-a -mthumb -mfpu=neon -mfloat-abi=hard")

# A list, so CTest passes the emulator and its library root as separate words.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/${KELVORA_ARM_TRIPLE})

if(NOT KELVORA_ARM_SYSROOT)
  if(DEFINED ENV{KELVORA_ARM_SYSROOT})
    set(KELVORA_ARM_SYSROOT "$ENV{KELVORA_ARM_SYSROOT}")
  else()
    set(KELVORA_ARM_SYSROOT "${CMAKE_BINARY_DIR}/sysroot")
  endif()
endif()
# Try-compile projects re-read the toolchain file in their own build tree;
# hand them the sysroot chosen here rather than letting them guess a path of
# their own.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KELVORA_ARM_SYSROOT)

# Libraries and headers only from the cross sysroot and the cross compiler's
# own tree; programs (qemu, code generators) from the host.
set(CMAKE_FIND_ROOT_PATH "${KELVORA_ARM_SYSROOT}" /usr/${KELVORA_ARM_TRIPLE})
set(CMAKE_PREFIX_PATH "${KELVORA_ARM_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# kissfft's package names <sysroot>/include/kissfft, but the library's sources
# include <kissfft/...>, as on a native Debian system where /usr/include is
# searched anyway. The cross compilers must find those headers in the
# sysroot, never in the host's /usr/include (GCC's cross compiler searches
# it last).
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES "${KELVORA_ARM_SYSROOT}/include")
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES "${KELVORA_ARM_SYSROOT}/include")

# The command-line tool needs host-only libraries (CLI11, libpng). The
# benchmarks stay possible: Google Benchmark is not in the sysroot, so only
# the instruction-count program (bench/armv7) is built.
set(KELVORA_BUILD_TOOLS OFF CACHE BOOL "Build the command-line tool" FORCE)
