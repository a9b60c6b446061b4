# Cross-compiles for 64-bit Arm Linux with Debian's g++-aarch64-linux-gnu. Tests run
# through qemu-user (ctest starts them with the emulator), against the target's C and C++
# runtime in /usr/aarch64-linux-gnu.
#   cmake -S . -B build-aarch64 -G Ninja \
#     -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(TSHELL_TARGET_ROOT /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${TSHELL_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
# Header-only packages (RapidJSON) come from the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${TSHELL_TARGET_ROOT})
