# Cross build for 64-bit ARM Linux with Debian's cross compilers against the
# arm64 sysroot that scripts/cross makes (see debian-sysroot.cmake).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(VESK_CROSS_ARCH arm64)
set(VESK_CROSS_TRIPLET aarch64-linux-gnu)
set(VESK_CROSS_QEMU qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian-sysroot.cmake)
