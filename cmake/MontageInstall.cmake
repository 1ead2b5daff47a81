# Installs the shared library, its headers, and what CMake and pkg-config need to find them.
include(CMakePackageConfigHelpers)
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/2DMontageNative)

install(TARGETS 2DMontageNative EXPORT 2DMontageNativeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/2DMontageNative COMPONENT development
  FILES_MATCHING PATTERN "*.h")
if(TARGET orv2d)
  install(TARGETS orv2d DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

install(EXPORT 2DMontageNativeTargets DESTINATION ${packageDir} COMPONENT development)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/packaging/2DMontageNativeConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/2DMontageNativeConfig.cmake INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/2DMontageNativeConfigVersion.cmake COMPATIBILITY SameMajorVersion)

# OpenCV for pkg-config: the modules by name, because Debian's opencv4.pc comes with all of OpenCV.
get_target_property(includeDirs MontageOpenCV INTERFACE_INCLUDE_DIRECTORIES)
list(TRANSFORM includeDirs PREPEND "-isystem ")
list(JOIN includeDirs " " MONTAGE_PC_OPENCV_CFLAGS)
list(TRANSFORM MONTAGE_OPENCV_MODULES PREPEND "-lopencv_" OUTPUT_VARIABLE libraries)
list(JOIN libraries " " MONTAGE_PC_OPENCV_LIBS)
# Relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH MONTAGE_PC_INCLUDE_DIR /${CMAKE_INSTALL_LIBDIR}/pkgconfig
     /${CMAKE_INSTALL_INCLUDEDIR}/2DMontageNative)
configure_file(${PROJECT_SOURCE_DIR}/packaging/2DMontageNative.pc.in
               ${CMAKE_CURRENT_BINARY_DIR}/2DMontageNative.pc @ONLY)

install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/2DMontageNativeConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/2DMontageNativeConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/MontageOpenCV.cmake
  DESTINATION ${packageDir} COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/2DMontageNative.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
