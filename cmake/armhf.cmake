# The board: Linux on 32-bit ARM with hardware floating point. Tests run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_STRIP arm-linux-gnueabihf-strip)
list(APPEND CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf) # after what a porter names
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Never the host's libraries: where a porter has said nothing else, what scripts/armhf-root has unpacked in the build's
# folder, or what Debian installs for this machine.
set(unpacked ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-root)
get_filename_component(unpacked ${unpacked} REALPATH)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;/usr/arm-linux-gnueabihf)
if(EXISTS ${unpacked} AND (NOT DEFINED ENV{PKG_CONFIG_LIBDIR} OR "$ENV{PKG_CONFIG_SYSROOT_DIR}" STREQUAL ${unpacked}))
  set(libraries ${unpacked}/usr/lib/arm-linux-gnueabihf ${unpacked}/lib/arm-linux-gnueabihf)
  list(APPEND CMAKE_FIND_ROOT_PATH ${unpacked})
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${unpacked}) # this file is read again, and knows by it that it was here
  set(ENV{PKG_CONFIG_LIBDIR} ${unpacked}/usr/lib/arm-linux-gnueabihf/pkgconfig)
  list(JOIN libraries : libraries)
  string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link=${libraries}")
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${libraries})
elseif(NOT DEFINED ENV{PKG_CONFIG_LIBDIR})
  set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/arm-linux-gnueabihf/lib/pkgconfig)
endif()
