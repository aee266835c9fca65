# Cross-compiles for the robot's board: Debian armhf (ARMv7, hard float) with
# Debian's arm-linux-gnueabihf compilers (crossbuild-essential-armhf).
#
# PEMO_ARMHF_SYSROOT names a root holding the armhf development packages
# (scripts/armhf-sysroot makes one); without it the multiarch paths of the
# build machine itself are used. Test programs run through qemu-arm-static,
# which takes the armhf run-time libraries from the same root.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# GCC notes every std::vector iterator passed by value that its ARM calling
# convention changed in 7.1; that matters only when linking code built by an
# older GCC, which nothing here is.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

if(NOT PEMO_ARMHF_SYSROOT AND DEFINED ENV{PEMO_ARMHF_SYSROOT})
  set(PEMO_ARMHF_SYSROOT "$ENV{PEMO_ARMHF_SYSROOT}")
endif()
# try_compile projects see the toolchain file again, but not the cache.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PEMO_ARMHF_SYSROOT)

if(PEMO_ARMHF_SYSROOT)
  set(CMAKE_SYSROOT "${PEMO_ARMHF_SYSROOT}")
  set(CMAKE_FIND_ROOT_PATH "${PEMO_ARMHF_SYSROOT}")
  set(PEMO_EMULATOR_LD_PREFIX "${PEMO_ARMHF_SYSROOT}")
else()
  set(PEMO_EMULATOR_LD_PREFIX "/")
endif()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(PEMO_QEMU_ARM NAMES qemu-arm-static qemu-arm)
if(PEMO_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${PEMO_QEMU_ARM};-L;${PEMO_EMULATOR_LD_PREFIX}")
endif()
