# Run by cpack for each package. Corrects the installed size in the .deb, in which cpack counts the
# symbolic link to the program as a copy of it.
list(FILTER CPACK_PACKAGE_FILES INCLUDE REGEX "\\.deb$")
foreach(package ${CPACK_PACKAGE_FILES})
  set(content ${CPACK_TOPLEVEL_DIRECTORY}/content)
  file(REMOVE_RECURSE ${content})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${content} COMMAND_ERROR_IS_FATAL ANY)
  execute_process(
    COMMAND find ${content}/usr -printf "%y %s\\n"
    COMMAND awk "{ size += $1 == \"f\" ? int(($2 + 1023) / 1024) : 1 } END { printf \"%d\", size }"
    OUTPUT_VARIABLE size COMMAND_ERROR_IS_FATAL ANY)
  file(READ ${content}/DEBIAN/control control)
  string(REGEX REPLACE "Installed-Size: [0-9]+" "Installed-Size: ${size}" control "${control}")
  file(WRITE ${content}/DEBIAN/control "${control}")
  execute_process(
    COMMAND dpkg-deb --root-owner-group -Zxz --build ${content} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
