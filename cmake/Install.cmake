# Installation: the libraries, the <arx/...> and <vorn/...> headers,
# pkg-config files and a CMake package.

include(CMakePackageConfigHelpers)

install(TARGETS arx vorncgi vorn
  EXPORT ArxTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Not linked by anyone, loaded by libarx on first use: found by the loader
# in the library directory.
install(TARGETS arx_pcre LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/arx
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/vorn
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(ARX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Arx)
install(EXPORT ArxTargets NAMESPACE Arx:: DESTINATION ${ARX_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ArxConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ArxConfig.cmake
  INSTALL_DESTINATION ${ARX_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ArxConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ArxConfig.cmake ${PROJECT_BINARY_DIR}/ArxConfigVersion.cmake
  DESTINATION ${ARX_CMAKE_DIR})

# The pkg-config files find the prefix from where they stand, so an
# installed tree can be moved.
file(RELATIVE_PATH ARX_PC_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(pc IN ITEMS arx vorn)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
