# The installable package: find_package(tolvane) gives tolvane::tolvane and tolvane::tolvane_engine, with headers under
# include/tolvane/<folder>/.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tolvane)
set(targets tolvane tolvane_engine tolvane_settings)
# Needed by programs that call only the engine, too: it puts the host's services in force.
set(pc_libs "-Wl,--push-state,--no-as-needed -ltolvane -Wl,--pop-state -ltolvane_engine")
if(TARGET tolvane_host)
  list(APPEND targets tolvane_host tolvane_front)
  string(APPEND pc_libs " -ltolvane_host")
endif()
install(
  TARGETS ${targets}
  EXPORT tolvane-targets
  INCLUDES
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/tolvane
  FILE_SET HEADERS
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tolvane
  FILE_SET version
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tolvane-targets NAMESPACE tolvane:: DESTINATION ${package_dir})
configure_package_config_file(cmake/tolvane-config.cmake.in ${PROJECT_BINARY_DIR}/tolvane-config.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tolvane-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tolvane-config.cmake ${PROJECT_BINARY_DIR}/tolvane-config-version.cmake
        DESTINATION ${package_dir})

# For programs built without CMake. Paths are relative to the file, so that the package may be moved.
set(pc_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pc ${pc_dir} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH includedir_from_pc ${pc_dir} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
function(tolvane_pkg_config name pc_name pc_description pc_libs)
  configure_file(cmake/tolvane.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
tolvane_pkg_config(tolvane Tolvane "${PROJECT_DESCRIPTION}" "${pc_libs}")
tolvane_pkg_config(tolvane_engine "Tolvane engine" "${PROJECT_DESCRIPTION}, without a host" -ltolvane_engine)
