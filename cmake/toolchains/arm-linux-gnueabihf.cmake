# Cross build for 32-bit ARM Linux (hard float) with Debian's cross compilers
# against the armhf sysroot that scripts/cross makes (see debian-sysroot.cmake).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(VESK_CROSS_ARCH armhf)
set(VESK_CROSS_TRIPLET arm-linux-gnueabihf)
set(VESK_CROSS_QEMU qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian-sysroot.cmake)
