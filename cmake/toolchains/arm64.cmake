# 64-bit ARM by Debian's cross compiler, whose names with a version stand beside g++-multilib, which the others
# exclude. Programs name the C library that it brings, so that an emulator (qemu-user) runs them on a machine
# where nothing is installed for that processor.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
find_program(CMAKE_C_COMPILER NAMES aarch64-linux-gnu-gcc aarch64-linux-gnu-gcc-12 REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES aarch64-linux-gnu-g++ aarch64-linux-gnu-g++-12 REQUIRED)
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=/usr/aarch64-linux-gnu/lib/ld-linux-aarch64.so.1 -Wl,--disable-new-dtags,-rpath,/usr/aarch64-linux-gnu/lib")
