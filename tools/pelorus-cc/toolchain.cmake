# For CMake projects: cmake -DCMAKE_TOOLCHAIN_FILE=.../toolchain.cmake ...
# The compiler is the one of the same installation, or the first one of PATH. Programs run under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
find_program(PELORUS_CC pelorus-cc HINTS ${CMAKE_CURRENT_LIST_DIR}/../../bin REQUIRED)
set(CMAKE_C_COMPILER ${PELORUS_CC})
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
