# Controllers with a 64-bit ARM processor.
set(READER_ARCHITECTURE arm64)
set(READER_TRIPLET aarch64-linux-gnu)
set(READER_QEMU qemu-aarch64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
