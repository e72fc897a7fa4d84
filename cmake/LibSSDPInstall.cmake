# SPDX-License-Identifier: MIT
# What a user gets: headers, both libraries, the files by which CMake and pkg-config find them, tutorial
# and examples.
# All paths in those are relative to where they stand, so that an installed tree can be moved.
include(CMakePackageConfigHelpers)

set_target_properties(libSSDP_static PROPERTIES EXPORT_NAME libSSDP_static)
install(TARGETS libSSDP libSSDP_static EXPORT libSSDPTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
    NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(FILES include/libssdp.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT licence)
install(FILES docs/tutorial.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(FILES examples/minimal.cpp examples/presence.cpp
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/libSSDP)
install(EXPORT libSSDPTargets NAMESPACE libSSDP:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/libSSDPConfig.cmake.in libSSDPConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(libSSDPConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libSSDPConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/libSSDPConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# From the folder of libSSDP.pc up to the prefix, whatever CMAKE_INSTALL_LIBDIR is.
file(RELATIVE_PATH pc_to_prefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/libSSDP.pc.in libSSDP.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libSSDP.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
