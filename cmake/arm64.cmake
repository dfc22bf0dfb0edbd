# Cross-compiling for ARM64 on Debian: the compiler of g++-aarch64-linux-gnu, libraries of the folder that
# scripts/arm64-sysroot makes. What is built runs under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUORIX_SYSROOT)
set(QUORIX_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/arm64-sysroot" CACHE PATH "Folder of scripts/arm64-sysroot")
# Without one there is the C library of the cross compiler, which is all that the portable build wants.
set(theEmulatorRoot /usr/aarch64-linux-gnu)
if(QUORIX_SYSROOT)
  file(REAL_PATH "${QUORIX_SYSROOT}" CMAKE_SYSROOT)
  set(theEmulatorRoot "${CMAKE_SYSROOT}")
endif()

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

# JNI's headers are the same on every Linux: those of this machine's JDK serve.
find_program(QUORIX_HOST_JAVAC javac)
if(QUORIX_HOST_JAVAC)
  file(REAL_PATH "${QUORIX_HOST_JAVAC}" theHostJavac)
  cmake_path(GET theHostJavac PARENT_PATH theHostJava)
  cmake_path(GET theHostJava PARENT_PATH theHostJava)
  set(JAVA_INCLUDE_PATH "${theHostJava}/include" CACHE PATH "jni.h")
  set(JAVA_INCLUDE_PATH2 "${theHostJava}/include/linux" CACHE PATH "jni_md.h")
endif()

set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-aarch64;-L;${theEmulatorRoot}")
