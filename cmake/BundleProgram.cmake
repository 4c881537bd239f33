# Small programs beside the application, in the bundle's Contents/Helpers.
set(KESTRELNET_HELPERS ${KESTRELNET_BUNDLE}/Contents/Helpers)

# kestrelnet_helper_program(NAME SOURCES... [LIBRARIES...] [OUTPUT FILE] [PRIVILEGED]): a small
# program of the bundle. A privileged one is linked statically, so that neither a system library nor
# the dynamic loader decides what root runs; macOS has no static programs. The sanitizers' runtimes
# need shared libraries and do not work with root's rights, so none of these programs has them.
function(kestrelnet_helper_program name)
  cmake_parse_arguments(arg "PRIVILEGED" "OUTPUT" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES})
  target_compile_options(${name} PRIVATE -fno-sanitize=all)
  target_link_options(${name} PRIVATE -fno-sanitize=all)
  if(arg_PRIVILEGED AND NOT APPLE)
    # CMake's own option would make it a dynamic one.
    set_property(TARGET ${name} PROPERTY POSITION_INDEPENDENT_CODE)
    target_compile_options(${name} PRIVATE -fPIE)
    target_link_options(${name} PRIVATE -static-pie)
  endif()
  set_target_properties(${name} PROPERTIES
    OUTPUT_NAME ${arg_OUTPUT}
    BUILD_RPATH ""
    RUNTIME_OUTPUT_DIRECTORY ${KESTRELNET_HELPERS})
  install(TARGETS ${name} RUNTIME DESTINATION ${KESTRELNET_INSTALLED_CONTENTS}/Helpers)
endfunction()
