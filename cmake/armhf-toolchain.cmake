# Cross build for 32-bit ARM (hard float), the recorder's own kind of machine.
# Tests run under qemu-user with the cross sysroot as the loader prefix, so
# ctest and gtest_discover_tests work unchanged:
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(RECSTORE_CROSS_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${RECSTORE_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${RECSTORE_CROSS_TRIPLE}-g++)

set(RECSTORE_CROSS_SYSROOT /usr/${RECSTORE_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH ${RECSTORE_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;${RECSTORE_CROSS_SYSROOT})
