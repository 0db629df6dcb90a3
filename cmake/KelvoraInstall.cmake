include(CMakePackageConfigHelpers)

install(TARGETS kelvora EXPORT kelvoraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The exported target names the include folder, so it must exist even while
# the public headers are still to be written (git keeps no empty folders).
install(DIRECTORY DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(EXISTS ${PROJECT_SOURCE_DIR}/include)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
endif()
install(EXPORT kelvoraTargets NAMESPACE kelvora::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kelvoraConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kelvoraConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kelvoraConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kelvoraConfig.cmake ${PROJECT_BINARY_DIR}/kelvoraConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora)

# The .pc file finds its prefix relative to itself, so an install with
# `cmake --install --prefix` or DESTDIR stays correct.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(KELVORA_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH KELVORA_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" KELVORA_PC_TO_PREFIX "${KELVORA_PC_TO_PREFIX}")
  set(KELVORA_PC_PREFIX "\${pcfiledir}/${KELVORA_PC_TO_PREFIX}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kelvora.pc.in ${PROJECT_BINARY_DIR}/kelvora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelvora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
