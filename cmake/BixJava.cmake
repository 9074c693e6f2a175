# The Java bridge needs the header jni.h of a JDK and nothing else of Java. Its tests and its example
# also need the compiler of the JDK and a Java machine of the word size that is built for.
#
#   bix_jni             where jni.h is
#   BIX_JAVA_COMPILER   javac
#   BIX_JAVA_LAUNCHER   java
#   BIX_JVM_LIBRARY     libjvm.so
#   BIX_JAVA_ZLIB       a library that the Java machine needs, when the system does not find it
if(NOT BIX_WITH_JAVA)
  return()
endif()

# The compiler names the JDK; without one, CMake's own search has to find the header.
find_program(BIX_JAVA_COMPILER javac HINTS ENV JAVA_HOME PATH_SUFFIXES bin)
set(jdk "")
if(BIX_JAVA_COMPILER)
  file(REAL_PATH ${BIX_JAVA_COMPILER} jdk)
  cmake_path(GET jdk PARENT_PATH jdk)
  cmake_path(GET jdk PARENT_PATH jdk)
endif()
find_path(BIX_JNI_INCLUDE_DIRECTORY jni.h HINTS ${jdk}/include)
find_path(BIX_JNI_PLATFORM_INCLUDE_DIRECTORY jni_md.h HINTS ${jdk}/include/linux
  ${BIX_JNI_INCLUDE_DIRECTORY}/linux ${BIX_JNI_INCLUDE_DIRECTORY})
if(NOT BIX_JNI_INCLUDE_DIRECTORY OR NOT BIX_JNI_PLATFORM_INCLUDE_DIRECTORY)
  message(FATAL_ERROR "The Java bridge needs jni.h: on Debian, run script/bootstrap. "
    "-DBIX_WITH_JAVA=OFF builds the library without the bridge.")
endif()

add_library(bix_jni INTERFACE IMPORTED GLOBAL)
target_include_directories(bix_jni SYSTEM INTERFACE
  ${BIX_JNI_INCLUDE_DIRECTORY} ${BIX_JNI_PLATFORM_INCLUDE_DIRECTORY})

# A toolchain that builds for another word size says where its Java machine is.
set(jre ${jdk})
if(BIX_TOOLCHAIN_JAVA_DIRECTORIES)
  file(GLOB jre ${BIX_TOOLCHAIN_JAVA_DIRECTORIES})
  find_file(BIX_JAVA_ZLIB libz.so.1 PATHS ${BIX_TOOLCHAIN_LIBRARY_DIRECTORIES} NO_DEFAULT_PATH)
endif()
find_program(BIX_JAVA_LAUNCHER java PATHS ${jre} PATH_SUFFIXES bin NO_DEFAULT_PATH)
find_library(BIX_JVM_LIBRARY jvm PATHS ${jre} PATH_SUFFIXES lib/server lib/client NO_DEFAULT_PATH)

# bix_add_java_classes(<target> <folder>)
# Compiles all Java sources below a folder. The property BIX_CLASSES of the target says where the
# classes are.
function(bix_add_java_classes target folder)
  set(classes ${CMAKE_CURRENT_BINARY_DIR}/${target})
  set(stamp ${classes}.stamp)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.java)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${classes}
    COMMAND ${BIX_JAVA_COMPILER} --release 11 -Xlint:all -Werror -d ${classes} ${sources}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${sources} VERBATIM)
  add_custom_target(${target} DEPENDS ${stamp})
  set_target_properties(${target} PROPERTIES BIX_CLASSES ${classes})
endfunction()
