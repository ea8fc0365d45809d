# The controller: 32-bit ARM with hardware floating point.
set(READER_ARCHITECTURE armhf)
set(READER_TRIPLET arm-linux-gnueabihf)
set(READER_QEMU qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
# The compiler tells where GCC 7 changed how arguments are passed; all libraries are younger.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
