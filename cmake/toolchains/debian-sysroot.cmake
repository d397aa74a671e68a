# What the Debian cross toolchain files share. The including file sets
# VESK_CROSS_ARCH (Debian's name of the architecture), VESK_CROSS_TRIPLET (the
# GNU triplet, also the multiarch directory name inside the sysroot) and
# VESK_CROSS_QEMU (the qemu-user program that runs the target's binaries).
#
# The target's headers and libraries come from a sysroot of its own, made by
# scripts/cross from Debian's archive: VESK_SYSROOT, by default
# build-sysroot-ARCH/ at the top of the source tree. The build machine needs
# only the cross compilers and qemu-user-static.
set(CMAKE_C_COMPILER ${VESK_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VESK_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${VESK_CROSS_TRIPLET})

if(NOT VESK_SYSROOT)
  get_filename_component(VESK_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build-sysroot-${VESK_CROSS_ARCH}" ABSOLUTE)
endif()
if(NOT EXISTS "${VESK_SYSROOT}/usr/include")
  message(FATAL_ERROR "No ${VESK_CROSS_ARCH} sysroot in ${VESK_SYSROOT}: scripts/cross ${VESK_CROSS_ARCH} makes one "
                      "(or give another with -DVESK_SYSROOT=DIR).")
endif()
# The checks' test projects are configured with this file again and need it too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VESK_SYSROOT)

set(CMAKE_SYSROOT ${VESK_SYSROOT})
# Programs are the build machine's; everything else is the target's, in the sysroot.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The build machine's pkg-config, told to read only the sysroot's .pc files and
# to put the sysroot before the paths it gives.
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${VESK_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${VESK_SYSROOT}/usr/lib/${VESK_CROSS_TRIPLET}/pkgconfig:${VESK_SYSROOT}/usr/share/pkgconfig)
unset(ENV{PKG_CONFIG_PATH})

# Tests and generators of the target run under qemu-user, which finds the
# target's dynamic loader, libraries and fonts in the sysroot first.
find_program(VESK_CROSS_QEMU_PATH NAMES ${VESK_CROSS_QEMU})
if(VESK_CROSS_QEMU_PATH)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VESK_CROSS_QEMU_PATH} -L ${VESK_SYSROOT})
endif()
