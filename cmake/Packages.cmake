# What other projects find the library by. The Debian packages are made in debian/.

include(CMakePackageConfigHelpers)

configure_package_config_file(cmake/TalDeviceSupportConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/TalDeviceSupportConfig.cmake INSTALL_DESTINATION ${TAL_INSTALL_CMAKEDIR}
  PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/TalDeviceSupportConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/package/TalDeviceSupportConfig.cmake
  ${PROJECT_BINARY_DIR}/package/TalDeviceSupportConfigVersion.cmake
  DESTINATION ${TAL_INSTALL_CMAKEDIR} COMPONENT dev)
install(EXPORT TalDeviceSupport FILE TalDeviceSupportTargets.cmake NAMESPACE TalDeviceSupport::
  DESTINATION ${TAL_INSTALL_CMAKEDIR} COMPONENT dev)

# Relative, so that the installed tree may be moved.
file(RELATIVE_PATH TAL_PREFIX_FROM_PKGCONFIG
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/taldevicesupport.pc.in ${PROJECT_BINARY_DIR}/package/taldevicesupport.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/taldevicesupport.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
