# What is installed: the library, its headers and those of the suite, and the files by which CMake
# and pkg-config find them.
include(CMakePackageConfigHelpers)

set(BIX_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/bix)

install(TARGETS bix bix_suite EXPORT bixTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
    NAMELINK_COMPONENT development)
install(DIRECTORY include/bix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h")
if(BIX_KX STREQUAL "system")
  set(without_kx PATTERN "kx" EXCLUDE)
endif()
install(DIRECTORY suite/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h" ${without_kx})

install(EXPORT bixTargets NAMESPACE bix:: DESTINATION ${BIX_INSTALL_CMAKEDIR}
  COMPONENT development)
configure_package_config_file(cmake/bixConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/bixConfig.cmake
  INSTALL_DESTINATION ${BIX_INSTALL_CMAKEDIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/bixConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/bixConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/bixConfigVersion.cmake
  DESTINATION ${BIX_INSTALL_CMAKEDIR} COMPONENT development)

# The directories relative to the file itself, so that an installation can be moved.
file(RELATIVE_PATH BIX_PKGCONFIG_TO_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" BIX_PKGCONFIG_TO_PREFIX "${BIX_PKGCONFIG_TO_PREFIX}")
# What the library itself is linked with. A program that uses it needs none of that to be built.
set(BIX_REGEX_LINK -lpcrecpp)
if(BIX_REGEX_USED STREQUAL "pcre2")
  set(BIX_REGEX_LINK -lpcre2-8)
endif()
configure_file(cmake/bix.pc.in ${CMAKE_CURRENT_BINARY_DIR}/bix.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/bix.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
