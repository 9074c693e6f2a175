# 32-bit x86 with the multilib compiler of an x86-64 Debian. Libraries beyond those of the compiler
# come from the folder that script/sysroot-i386 fills, or from the machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i386)
set(CMAKE_CXX_FLAGS_INIT "-m32")
set(CMAKE_C_FLAGS_INIT "-m32")
set(CMAKE_CROSSCOMPILING OFF)

get_filename_component(sysroot "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-i386" ABSOLUTE)
set(BIX_TOOLCHAIN_INCLUDE_DIRECTORIES ${sysroot}/usr/include)
set(BIX_TOOLCHAIN_LIBRARY_DIRECTORIES
  ${sysroot}/usr/lib/i386-linux-gnu ${sysroot}/lib/i386-linux-gnu
  /usr/lib/i386-linux-gnu /lib/i386-linux-gnu)
set(BIX_TOOLCHAIN_JAVA_DIRECTORIES ${sysroot}/usr/lib/jvm/java-*-openjdk-i386)
