# 32-bit x86 with the multilib compiler of an x86-64 Debian.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i386)
set(CMAKE_CXX_FLAGS_INIT "-m32")
set(CMAKE_C_FLAGS_INIT "-m32")
set(CMAKE_CROSSCOMPILING OFF)
