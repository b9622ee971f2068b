# 64-bit ARM phones' processor (arm64), built with g++-aarch64-linux-gnu.
set(VEQ_CROSS_TRIPLET aarch64-linux-gnu)
set(VEQ_CROSS_PROCESSOR aarch64)
set(VEQ_CROSS_QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
