include(CMakePackageConfigHelpers)
install(TARGETS vantorcore vantorcore_static EXPORT VantorCoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/vantorcore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  PATTERN "*.in" EXCLUDE)
install(EXPORT VantorCoreTargets NAMESPACE VantorCore::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VantorCore COMPONENT development)
configure_package_config_file(cmake/VantorCoreConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VantorCoreConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VantorCore)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VantorCoreConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VantorCoreConfig.cmake
  ${PROJECT_BINARY_DIR}/VantorCoreConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VantorCore COMPONENT development)
