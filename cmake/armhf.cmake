# Builds for the board, 32-bit ARM with hardware floating point, and runs what was built under qemu.

set(TAL_ARMHF_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot
    CACHE PATH "Where cmake/armhf-sysroot.sh has unpacked the board's libraries")
if(NOT EXISTS ${TAL_ARMHF_SYSROOT}/contents)
  message(FATAL_ERROR "No board libraries in ${TAL_ARMHF_SYSROOT}; first run: "
                      "cmake/armhf-sysroot.sh build/armhf-sysroot")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TAL_ARMHF_SYSROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# The compiler brings the C and C++ libraries; everything else is in the folder.
set(compiler_libraries /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH ${TAL_ARMHF_SYSROOT} ${compiler_libraries})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The loader finds there what the folder's libraries take themselves, too, which it does by the older of the two tags.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,--disable-new-dtags)

# A library that a library in the folder takes is not looked for where the program's own are.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${compiler_libraries}
  -E LD_LIBRARY_PATH=${TAL_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf)
