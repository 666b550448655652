# 32-bit x86: Debian's g++-i686-linux-gnu. A 64-bit x86 machine runs the programs itself, with the C
# library that came with the compiler; any other needs qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
if(CMAKE_HOST_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  # The old kind of run path also holds for the libraries that the libraries need.
  string(CONCAT CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--disable-new-dtags,-rpath,/usr/i686-linux-gnu/lib"
    ",--dynamic-linker=/usr/i686-linux-gnu/lib/ld-linux.so.2")
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386;-L;/usr/i686-linux-gnu)
endif()

# Programs are the building machine's, headers and libraries are not.
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
