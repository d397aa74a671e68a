# Cross build for 64-bit ARM Linux with Debian's multiarch toolchain
# (crossbuild-essential-arm64 and the :arm64 -dev packages; see scripts/cross).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(VESK_CROSS_TRIPLET aarch64-linux-gnu)
set(VESK_CROSS_QEMU qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian-multiarch.cmake)
