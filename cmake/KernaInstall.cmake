# Install rules: the library and its static companion library, the headers, a CMake package
# (find_package(Kerna) gives Kerna::kerna and Kerna::kerna_source) and a pkg-config file for each
# (kerna, kerna_source).
include(CMakePackageConfigHelpers)

install(TARGETS kerna kerna_source EXPORT KernaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(KERNA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kerna)
install(EXPORT KernaTargets NAMESPACE Kerna:: DESTINATION ${KERNA_CMAKE_DIR})
configure_package_config_file(cmake/KernaConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KernaConfig.cmake INSTALL_DESTINATION ${KERNA_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KernaConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KernaConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KernaConfigVersion.cmake
        DESTINATION ${KERNA_CMAKE_DIR})

configure_file(cmake/kerna.pc.in ${CMAKE_CURRENT_BINARY_DIR}/kerna.pc @ONLY)
configure_file(cmake/kerna_source.pc.in ${CMAKE_CURRENT_BINARY_DIR}/kerna_source.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kerna.pc ${CMAKE_CURRENT_BINARY_DIR}/kerna_source.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
