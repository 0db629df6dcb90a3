include(CMakePackageConfigHelpers)

install(TARGETS kelvora EXPORT kelvoraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT kelvoraTargets NAMESPACE kelvora::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kelvoraConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kelvoraConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kelvoraConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kelvoraConfig.cmake ${PROJECT_BINARY_DIR}/kelvoraConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora)

configure_file(${PROJECT_SOURCE_DIR}/cmake/kelvora.pc.in ${PROJECT_BINARY_DIR}/kelvora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelvora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
