# Installation: the generated header, both libraries, a CMake package (olvm::olvm and
# olvm::olvm_static) and a pkg-config file.
include(CMakePackageConfigHelpers)

install(FILES ${OLVM_GEN_DIR}/include/olvm.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS olvm olvm_static EXPORT olvmTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT olvmTargets NAMESPACE olvm:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/olvm)

configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/olvmConfig.cmake.in
  ${CMAKE_BINARY_DIR}/olvmConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/olvm)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/olvmConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/olvmConfig.cmake ${CMAKE_BINARY_DIR}/olvmConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/olvm)

# The .pc file locates the prefix relative to itself, so an installed tree can be moved.
file(RELATIVE_PATH OLVM_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_SOURCE_DIR}/cmake/olvm.pc.in ${CMAKE_BINARY_DIR}/olvm.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/olvm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
