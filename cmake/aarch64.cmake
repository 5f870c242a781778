# Builds Torvik for Linux on 64-bit Arm with a cross compiler (Debian: g++-aarch64-linux-gnu):
#
#   cmake --preset aarch64 && cmake --build --preset aarch64
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
