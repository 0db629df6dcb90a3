# Cross build for 32-bit ARM Linux (armv7-a with NEON, hard-float ABI) with
# Debian's GCC cross compiler, run under qemu-arm. It stands in for the
# Android armeabi-v7a target on a Debian machine: same instruction set and
# vector unit, so the NEON backend and its refined estimates are exercised
# without a device. Phone builds use Clang (toolchain-armv7-clang.cmake);
# this one keeps the library building and correct with GCC as well, and
# builds the third-party libraries of the sysroot (scripts/build-arm-deps.sh).
include(${CMAKE_CURRENT_LIST_DIR}/KelvoraArmv7Target.cmake)

set(CMAKE_C_COMPILER ${KELVORA_ARM_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${KELVORA_ARM_TRIPLE}-g++)
set(CMAKE_C_FLAGS_INIT "${KELVORA_ARM_FLAGS}")
set(CMAKE_CXX_FLAGS_INIT "${KELVORA_ARM_FLAGS}")
