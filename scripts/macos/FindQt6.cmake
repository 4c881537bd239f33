# Qt's targets for a cross-build: the headers of the host's packages, which are the same on all
# systems, and stub libraries that define the symbols of the host's libraries.
find_program(QTPATHS qtpaths6 REQUIRED)
function(query property result)
  execute_process(COMMAND ${QTPATHS} --query ${property}
    OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(${result} ${found} PARENT_SCOPE)
endfunction()
query(QT_INSTALL_HEADERS headers)
query(QT_HOST_LIBEXECS programs)
query(QT_VERSION Qt6_VERSION)

set(uses_Core "")
set(uses_Gui Core)
set(uses_Widgets Gui)
set(uses_Svg Gui)
set(uses_Network Core)
set(uses_Test Core)
foreach(component ${Qt6_FIND_COMPONENTS})
  if(NOT DEFINED uses_${component})
    continue()
  endif()
  set(Qt6_${component}_FOUND TRUE)
  if(TARGET Qt6::${component})
    continue()
  endif()
  string(TOUPPER ${component} name)
  add_library(Qt6::${component} INTERFACE IMPORTED)
  target_include_directories(Qt6::${component} SYSTEM INTERFACE ${headers} ${headers}/Qt${component})
  target_compile_definitions(Qt6::${component} INTERFACE QT_${name}_LIB)
  target_link_libraries(Qt6::${component}
    INTERFACE ${KESTRELNET_MACOS_STUBS}/libQt6${component}.tbd)
  if(uses_${component})
    target_link_libraries(Qt6::${component} INTERFACE Qt6::${uses_${component}})
  endif()
endforeach()

# What AUTOMOC looks for.
string(REGEX MATCH "^([0-9]+)\\.([0-9]+)" Qt6Core_VERSION "${Qt6_VERSION}")
set(Qt6Core_VERSION_MAJOR ${CMAKE_MATCH_1})
set(Qt6Core_VERSION_MINOR ${CMAKE_MATCH_2})
if(NOT TARGET Qt6::moc)
  add_executable(Qt6::moc IMPORTED)
  set_target_properties(Qt6::moc PROPERTIES IMPORTED_LOCATION ${programs}/moc)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Qt6 REQUIRED_VARS headers VERSION_VAR Qt6_VERSION HANDLE_COMPONENTS)

# qt_add_resources(TARGET NAME PREFIX PREFIX [BASE FOLDER] [OPTIONS OPTION...] FILES FILE...): as the
# toolkit's, with the host's resource compiler.
function(qt_add_resources target name)
  cmake_parse_arguments(arg "" "PREFIX;BASE" "OPTIONS;FILES" ${ARGN})
  if(NOT arg_BASE)
    set(arg_BASE ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  set(list ${CMAKE_CURRENT_BINARY_DIR}/${name}.qrc)
  set(text "<RCC><qresource prefix=\"${arg_PREFIX}\">\n")
  set(depends "")
  foreach(file ${arg_FILES})
    get_filename_component(path ${file} ABSOLUTE)
    file(RELATIVE_PATH alias ${arg_BASE} ${path})
    string(APPEND text "<file alias=\"${alias}\">${path}</file>\n")
    list(APPEND depends ${path})
  endforeach()
  file(GENERATE OUTPUT ${list} CONTENT "${text}</qresource></RCC>\n")
  set(source ${CMAKE_CURRENT_BINARY_DIR}/qrc_${name}.cpp)
  add_custom_command(OUTPUT ${source}
    COMMAND ${programs}/rcc --name ${name} ${arg_OPTIONS} --output ${source} ${list}
    DEPENDS ${depends} ${list} VERBATIM)
  # A rule belongs to the folder that adds it, so the source cannot be one of the target's.
  add_library(resources_${name} OBJECT ${source})
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:resources_${name}>)
endfunction()
