# 32-bit ARM by Debian's cross compiler, whose names with a version stand beside g++-multilib, which the others
# exclude. Programs name the C library that it brings, so that an emulator (qemu-user) runs them on a machine
# where nothing is installed for that processor.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
find_program(CMAKE_C_COMPILER NAMES arm-linux-gnueabihf-gcc arm-linux-gnueabihf-gcc-12 REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES arm-linux-gnueabihf-g++ arm-linux-gnueabihf-g++-12 REQUIRED)
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=/usr/arm-linux-gnueabihf/lib/ld-linux-armhf.so.3 -Wl,--disable-new-dtags,-rpath,/usr/arm-linux-gnueabihf/lib")
