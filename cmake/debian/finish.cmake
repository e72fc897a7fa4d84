# SPDX-License-Identifier: MIT
# Run by cpack over the folders that become packages: what Debian wants and an installation hasn't.
foreach(pair runtime:${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME}
    development:${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME} tool:${CPACK_DEBIAN_TOOL_PACKAGE_NAME})
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 package)
  set(folder ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  if(IS_DIRECTORY ${folder})
    configure_file(${CPACK_LIBSSDP_SOURCE_DIR}/LICENSE ${folder}/share/doc/${package}/copyright COPYONLY)
    file(COPY ${CPACK_LIBSSDP_SOURCE_DIR}/cmake/debian/changelog DESTINATION ${folder}/share/doc/${package})
    file(GLOB to_compress ${folder}/share/doc/*/changelog ${folder}/share/man/*/*)
    execute_process(COMMAND gzip -9n ${to_compress} COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
# Under the package's name, which an installation doesn't know.
set(doc ${CPACK_TEMPORARY_DIRECTORY}/development/usr/share/doc)
file(COPY ${doc}/libSSDP/ DESTINATION ${doc}/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME})
file(REMOVE_RECURSE ${doc}/libSSDP)
configure_file(${CPACK_LIBSSDP_SOURCE_DIR}/cmake/debian/lintian-overrides
  ${CPACK_TEMPORARY_DIRECTORY}/runtime/usr/share/lintian/overrides/${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME}
  COPYONLY)
file(GLOB_RECURSE archives ${CPACK_TEMPORARY_DIRECTORY}/development/*.a)
execute_process(COMMAND strip --strip-debug --enable-deterministic-archives ${archives}
  COMMAND_ERROR_IS_FATAL ANY)
