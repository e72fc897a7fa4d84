# SPDX-License-Identifier: MIT
# Debian's packages of what is installed, made by cpack: the run-time library, the development files,
# and the program when it is built. scripts/package makes them and tries them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT
  "Seed b8b8499a maintainers <maintainers@users.noreply.c-seed-b8b8499a.example>")
# A homepage is where the project is published, which its sources don't know: scripts/package takes it
# from LIBSSDP_HOMEPAGE. Without, the packages have no such field.
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${LIBSSDP_HOMEPAGE}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has one of its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/finish.cmake)
set(CPACK_LIBSSDP_SOURCE_DIR ${PROJECT_SOURCE_DIR})

# Each component is a package. The licence has a place and a name of Debian's own in each.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(LIBSSDP_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE libssdp)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# The run-time library carries its SONAME's number, so that two versions can be installed.
set(runtime libssdp${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "SSDP discovery for devices of one kind (library)
Through this library devices of one kind find each other on the local IPv4
network, with no server and no set-up: it announces a device over SSDP, the
discovery protocol of UPnP, searches for others and answers their searches.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libssdp-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "SSDP discovery for devices of one kind (development)
Header, static library, the files by which CMake and pkg-config find libSSDP,
a tutorial and examples. Through libSSDP devices of one kind find each other
on the local IPv4 network.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ssdp-peer)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${runtime} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_COMPONENT_TOOL_DESCRIPTION "take part in SSDP discovery from a terminal or a script
One device on the local IPv4 network: it shows the devices of its kind as they
come and leave, searches for them once, announces a status that a script
feeds it, or tells why nobody finds this machine.")

include(CPack)
