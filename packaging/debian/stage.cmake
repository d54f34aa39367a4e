# Run by CPack on the staged files: moves what Debian keeps elsewhere and adds what only it asks for.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(usr ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  if(NOT EXISTS ${usr})
    message(FATAL_ERROR "nothing was staged for ${package} in ${usr}")
  endif()

  if(EXISTS ${usr}/share/zsh/site-functions)
    file(RENAME ${usr}/share/zsh/site-functions ${usr}/share/zsh/vendor-completions)
  endif()
  # The copyright file holds the licence.
  file(REMOVE_RECURSE ${usr}/share/doc)

  set(documents ${usr}/share/doc/${package})
  file(COPY ${CPACK_VELMARO_DEBIAN}/copyright DESTINATION ${documents}
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  configure_file(${CPACK_VELMARO_DEBIAN}/lintian-overrides
                 ${usr}/share/lintian/overrides/${package} @ONLY
                 FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  foreach(pair "${CPACK_VELMARO_CHANGELOG}|changelog" "${CPACK_VELMARO_DEBIAN}/changelog|changelog.Debian")
    string(REPLACE "|" ";" pair ${pair})
    list(GET pair 0 from)
    list(GET pair 1 name)
    configure_file(${from} ${documents}/${name} COPYONLY FILE_PERMISSIONS
                   OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    execute_process(COMMAND gzip -9nf ${documents}/${name} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endforeach()
