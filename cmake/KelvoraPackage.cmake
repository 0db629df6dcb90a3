# One Debian package, kelvora_<version>_<arch>.deb, made by `cpack` from the
# install rules (cmake/KelvoraInstall.cmake, tools/CMakeLists.txt,
# python/CMakeLists.txt): library, headers, CMake and pkg-config files, the
# command-line tool and, when built, the Python package.
#
# Configure with -DCMAKE_INSTALL_PREFIX=/usr for a package: the library
# folder is fixed when the project is configured, and only the /usr prefix
# gives Debian's multiarch one (lib/<triplet>).
#
# The package holds every install component the project defines. A new part
# (the Python module, say) installs with its own COMPONENT and is described
# below next to the others; nothing else has to change here.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelvora)
set(CPACK_PACKAGE_VENDOR "Kelvora")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "time-of-flight raw frames to depth data")
set(CPACK_PACKAGE_DESCRIPTION
    "Kelvora turns the raw frames of a time-of-flight depth camera into distance,\n"
    "amplitude, noise, intensity, flags, a point cloud and exposure proposals.\n"
    "The package holds the shared library, its C++ headers with CMake and\n"
    "pkg-config files, the command-line tool kelvora with its viewer (kelvora\n"
    "view, a local web page for tuning the parameters on a recording), and the\n"
    "Python package kelvora for numpy users.")
list(JOIN CPACK_PACKAGE_DESCRIPTION "" CPACK_PACKAGE_DESCRIPTION)
set(KELVORA_PACKAGE_CONTACT "Kelvora developers <kelvora@example.com>"
    CACHE STRING "Maintainer field of the Debian package")
set(CPACK_PACKAGE_CONTACT "${KELVORA_PACKAGE_CONTACT}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
# Depends comes from the binaries themselves (dpkg-shlibdeps): libc, libstdc++,
# kissfft's float library, libpng and cpp-httplib for the tool.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The viewer serves three.js from Debian's copy for its 3D view; without it
# the rest of the page works, so it is recommended rather than required.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS libjs-three)
# A shlibs file lets packages built against this one depend on it in turn;
# CPack adds the ldconfig call for a library under /usr/lib.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The Python module is built for one minor version of Python 3 and needs
# numpy at run time; the C++ parts need neither, so they are recommended
# rather than required.
if(KELVORA_BUILD_PYTHON)
  math(EXPR kelvora_python_next "${Python3_VERSION_MINOR} + 1")
  string(APPEND CPACK_DEBIAN_PACKAGE_RECOMMENDS
    ", python3 (>= 3.${Python3_VERSION_MINOR}), python3 (<< 3.${kelvora_python_next}), python3-numpy")
  set(KELVORA_PACKAGE_PYTHON_DIR "${CPACK_PACKAGING_INSTALL_PREFIX}/${KELVORA_PYTHON_INSTALL_DIR}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/kelvora-prerm.in ${PROJECT_BINARY_DIR}/package/prerm
    @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/package/prerm)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
endif()

# Monolithic: every component in the one package. CPACK_COMPONENTS_ALL lists
# the components that have install rules, without CMake's catch-all one.
get_cmake_property(CPACK_COMPONENTS_ALL COMPONENTS)
list(REMOVE_ITEM CPACK_COMPONENTS_ALL Unspecified)
set(CPACK_DEB_COMPONENT_INSTALL OFF)

include(CPack)
cpack_add_component(Runtime DISPLAY_NAME "Library" DESCRIPTION "libkelvora.so.3")
cpack_add_component(Development DISPLAY_NAME "Headers"
  DESCRIPTION "C++ headers, CMake package and kelvora.pc" DEPENDS Runtime)
cpack_add_component(Tool DISPLAY_NAME "Command-line tool" DESCRIPTION "kelvora")
if(KELVORA_BUILD_PYTHON)
  cpack_add_component(Python DISPLAY_NAME "Python package"
    DESCRIPTION "kelvora for Python ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR} and numpy"
    DEPENDS Runtime)
endif()
