# The installable package: find_package(tolvane) gives tolvane::tolvane, with headers under include/tolvane/<folder>/.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tolvane)
install(
  TARGETS tolvane tolvane_host tolvane_front tolvane_settings
  EXPORT tolvane-targets
  INCLUDES
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tolvane
  FILE_SET HEADERS
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tolvane)
install(EXPORT tolvane-targets NAMESPACE tolvane:: DESTINATION ${package_dir})
configure_package_config_file(cmake/tolvane-config.cmake.in ${PROJECT_BINARY_DIR}/tolvane-config.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tolvane-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tolvane-config.cmake ${PROJECT_BINARY_DIR}/tolvane-config-version.cmake
        DESTINATION ${package_dir})
