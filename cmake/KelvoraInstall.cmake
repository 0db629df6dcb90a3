# Install rules, split into the components the package is made of:
#   Runtime      libkelvora.so.3 (what a host program loads)
#   Development  headers, the libkelvora.so link, CMake package, kelvora.pc
#   Tool         the command-line tool (tools/CMakeLists.txt)
# `cmake --install` installs all of them; cpack packs every component that
# has an install rule (cmake/KelvoraPackage.cmake).
include(CMakePackageConfigHelpers)

install(TARGETS kelvora EXPORT kelvoraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The exported target names the include folder, so it must exist even while
# the public headers are still to be written (git keeps no empty folders).
install(DIRECTORY DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
if(EXISTS ${PROJECT_SOURCE_DIR}/include)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT Development
    FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
endif()
install(EXPORT kelvoraTargets NAMESPACE kelvora::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora COMPONENT Development)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kelvoraConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kelvoraConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kelvoraConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kelvoraConfig.cmake ${PROJECT_BINARY_DIR}/kelvoraConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvora COMPONENT Development)

# The .pc file finds its prefix relative to itself, so an install with
# `cmake --install --prefix` or DESTDIR stays correct. It names no other
# package: kissfft is a private dependency of the shared library, and a
# Requires.private line would put kissfft's flags into every host's
# `pkg-config --cflags` and make its .pc file a requirement.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(KELVORA_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH KELVORA_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" KELVORA_PC_TO_PREFIX "${KELVORA_PC_TO_PREFIX}")
  set(KELVORA_PC_PREFIX "\${pcfiledir}/${KELVORA_PC_TO_PREFIX}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kelvora.pc.in ${PROJECT_BINARY_DIR}/kelvora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelvora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT Development)
