include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS vxsystem EXPORT VXSystemTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/vxsystem DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT VXSystemTargets NAMESPACE VXSystem::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXSystem)
configure_package_config_file(cmake/VXSystemConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/VXSystemConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXSystem)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VXSystemConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VXSystemConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VXSystemConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXSystem)
