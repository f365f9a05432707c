# What other projects find the library by, and the Debian packages.

include(CMakePackageConfigHelpers)

configure_package_config_file(cmake/TalDeviceSupportConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/TalDeviceSupportConfig.cmake INSTALL_DESTINATION ${TAL_INSTALL_CMAKEDIR})
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

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "libTalDeviceSupport maintainers <maintainers@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()

# describe_package(COMPONENT PACKAGE SUMMARY DEPENDS)
macro(describe_package component package summary depends)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
endmacro()

set(runtime_package libtaldevicesupport${TAL_SOVERSION})
set(host_package libtalhost${TAL_SOVERSION})
set(cxx_library "libc6 (>= 2.36), libstdc++6 (>= 12)")
set(same_version "= ${PROJECT_VERSION}")

describe_package(runtime ${runtime_package}
  "Storage providers for a board's variable database"
  "${cxx_library}, libexpat1 (>= 2.5)")
describe_package(standins libtaldevicesupport-standins
  "Stand-ins for the board's trace and board-support libraries, for machines that are no board"
  "${cxx_library}")
describe_package(host ${host_package}
  "Reference host: a board's variable database in memory"
  "${cxx_library}")
describe_package(dev libtaldevicesupport-dev
  "Headers and build files of libTalDeviceSupport and its reference host"
  "${runtime_package} (${same_version}), libexpat1-dev")
describe_package(tools taldevicesupport-tools
  "talstore: shows, checks, compares and converts storage files"
  "${runtime_package} (${same_version}), ${host_package} (${same_version}), ${cxx_library}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS libtaldevicesupport-standins)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)

set(CPACK_COMPONENTS_ALL runtime dev)
get_target_property(has_trace_library brqtrace IMPORTED)
get_target_property(has_board_library corebsp IMPORTED)
if(NOT has_trace_library OR NOT has_board_library)
  list(APPEND CPACK_COMPONENTS_ALL standins)
  string(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ", libtaldevicesupport-standins (${same_version})")
endif()
if(TARGET TalHost)
  list(APPEND CPACK_COMPONENTS_ALL host)
  string(APPEND CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ", ${host_package} (${same_version}), nlohmann-json3-dev")
endif()
if(TARGET talstore)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

include(CPack)
