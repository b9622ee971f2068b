# 32-bit ARM phones' processor (armhf: ARMv7, hard float; `long` and
# pointers are 32 bits), built with g++-arm-linux-gnueabihf. The project
# itself asks glibc for 64-bit time_t and file offsets on 32-bit targets.
set(VEQ_CROSS_TRIPLET arm-linux-gnueabihf)
set(VEQ_CROSS_PROCESSOR arm)
set(VEQ_CROSS_QEMU qemu-arm)
# GCC notes on every std::span or iterator argument that their passing
# changed in GCC 7.1; everything here is built by one compiler.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
