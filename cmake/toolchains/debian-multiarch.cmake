# What the Debian multiarch toolchain files share. The including file sets
# VESK_CROSS_TRIPLET (the GNU triplet, also the multiarch directory name) and
# VESK_CROSS_QEMU (the qemu-user program that runs the target's binaries).
set(CMAKE_C_COMPILER ${VESK_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VESK_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${VESK_CROSS_TRIPLET})

# Multiarch keeps the target's headers and libraries under /usr beside the build
# machine's; CMAKE_LIBRARY_ARCHITECTURE makes every find_* look in the target's
# directory first, so no separate root path is needed.

# The target's pkg-config (a wrapper installed with the cross toolchain) finds
# the .pc files of the :ARCH packages and nothing of the build machine's.
find_program(PKG_CONFIG_EXECUTABLE NAMES ${VESK_CROSS_TRIPLET}-pkg-config)
if(NOT PKG_CONFIG_EXECUTABLE)
  set(PKG_CONFIG_EXECUTABLE pkg-config)
  set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${VESK_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig)
endif()

# Tests and generators of the target run under qemu-user. Multiarch puts the
# target's dynamic loader under /lib, so / is the library prefix qemu needs.
find_program(VESK_CROSS_QEMU_PATH NAMES ${VESK_CROSS_QEMU})
if(VESK_CROSS_QEMU_PATH)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VESK_CROSS_QEMU_PATH} -L /)
endif()
