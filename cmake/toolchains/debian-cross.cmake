# Cross build with a Debian cross compiler: the including toolchain file
# sets VEQ_CROSS_TRIPLET (the compiler prefix and multiarch name),
# VEQ_CROSS_PROCESSOR and VEQ_CROSS_QEMU. The target's libraries come from
# VEQ_TARGET_ROOT, a folder of unpacked Debian packages
# (scripts/cross-sysroot.sh); the compiler keeps its own C library
# (/usr/<triplet>). Binaries built for the target run under qemu-user, which
# CMake uses as the emulator for test discovery and tests, and the tests use
# to start the tool.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${VEQ_CROSS_PROCESSOR})
set(CMAKE_C_COMPILER ${VEQ_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VEQ_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${VEQ_CROSS_TRIPLET})

# Try-compiles read the toolchain file again; the target root comes along.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VEQ_TARGET_ROOT)
if(NOT VEQ_TARGET_ROOT AND DEFINED ENV{VEQ_TARGET_ROOT})
  set(VEQ_TARGET_ROOT $ENV{VEQ_TARGET_ROOT})
endif()
if(NOT VEQ_TARGET_ROOT)
  message(FATAL_ERROR "Set VEQ_TARGET_ROOT to the target's unpacked libraries (scripts/cross-sysroot.sh)")
endif()
set(VEQ_TARGET_ROOT ${VEQ_TARGET_ROOT} CACHE PATH "Unpacked Debian packages of the target's libraries")

set(CMAKE_FIND_ROOT_PATH ${VEQ_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# qemu finds the target's loader and C library under -L; the libraries of
# the target root are found through the run path CMake writes into every
# binary it builds.
find_program(VEQ_CROSS_QEMU_PATH ${VEQ_CROSS_QEMU} REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${VEQ_CROSS_QEMU_PATH} -L /usr/${VEQ_CROSS_TRIPLET})
