# Cross build for 32-bit ARM Linux (armhf: ARMv7-A, NEON, hard-float ABI) with
# clang and Debian's cross sysroot packages (libc6-dev-armhf-cross,
# libstdc++-12-dev-armhf-cross, libgcc-12-dev-armhf-cross, linker from
# binutils-arm-linux-gnueabihf). None of them conflicts with g++-multilib, which
# the GCC cross compiler would remove. Executables and tests run under qemu-arm.
#
# -DVELTRANE_ARM_FPU=vfpv3-d16 builds for a core without NEON.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(VELTRANE_ARM_TRIPLE arm-linux-gnueabihf)
set(VELTRANE_ARM_SYSROOT /usr/${VELTRANE_ARM_TRIPLE})
set(VELTRANE_ARM_FPU neon CACHE STRING "Floating-point unit: neon, or vfpv3-d16 for a core without NEON")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELTRANE_ARM_FPU)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${VELTRANE_ARM_TRIPLE})
set(CMAKE_CXX_COMPILER_TARGET ${VELTRANE_ARM_TRIPLE})
set(VELTRANE_ARM_FLAGS "-march=armv7-a -mfpu=${VELTRANE_ARM_FPU} -mfloat-abi=hard")
set(CMAKE_C_FLAGS_INIT "${VELTRANE_ARM_FLAGS}")
set(CMAKE_CXX_FLAGS_INIT "${VELTRANE_ARM_FLAGS}")

# Libraries and headers of the target only; programs of the host.
set(CMAKE_FIND_ROOT_PATH ${VELTRANE_ARM_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# ctest and test discovery run the target's programs through the emulator.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${VELTRANE_ARM_SYSROOT})
