# Cross build for 32-bit ARM Linux (hard float) with Debian's multiarch toolchain
# (crossbuild-essential-armhf and the :armhf -dev packages; see scripts/cross).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(VESK_CROSS_TRIPLET arm-linux-gnueabihf)
set(VESK_CROSS_QEMU qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian-multiarch.cmake)
