# What `cmake --install` lays down beside the programs: the library, its public headers, and a package
# that find_package(KelvoraCore) finds.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/KelvoraCore)
set(package_files ${PROJECT_BINARY_DIR}/package)

set_target_properties(KelvoraCore PROPERTIES EXPORT_NAME Core)
install(TARGETS KelvoraCore EXPORT KelvoraCore ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/KelvoraCore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT KelvoraCore NAMESPACE Kelvora:: FILE KelvoraCoreTargets.cmake
  DESTINATION ${package_folder})

configure_package_config_file(cmake/KelvoraCoreConfig.cmake.in
  ${package_files}/KelvoraCoreConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${package_files}/KelvoraCoreConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${package_files}/KelvoraCoreConfig.cmake
  ${package_files}/KelvoraCoreConfigVersion.cmake cmake/Dependencies.cmake
  DESTINATION ${package_folder})
