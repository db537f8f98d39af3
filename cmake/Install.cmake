# The installable package: find_package(tolvane) gives tolvane::tolvane, headers under include/tolvane/<folder>/.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tolvane)
install(
  TARGETS tolvane tolvane_host tolvane_front tolvane_settings
  EXPORT tolvane-targets
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tolvane)
install(EXPORT tolvane-targets NAMESPACE tolvane:: DESTINATION ${package_dir})
foreach(folder host host/reference host/front ${TOLVANE_LAYERS})
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.h)
  # Headers in rooms are internal. So are parts of sources that are compiled once for each instruction set.
  list(FILTER headers EXCLUDE REGEX "/(float_rules|word_rules|lanes)\\.inl\\.h$")
  install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tolvane/${folder})
endforeach()
configure_package_config_file(cmake/tolvane-config.cmake.in ${PROJECT_BINARY_DIR}/tolvane-config.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tolvane-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tolvane-config.cmake ${PROJECT_BINARY_DIR}/tolvane-config-version.cmake
        DESTINATION ${package_dir})
