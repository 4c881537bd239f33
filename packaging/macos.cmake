# The target "app" completes the Kestrelnet.app of the build. Not built or tested on a Mac.
set(resources ${KESTRELNET_BUNDLE}/Contents/Resources)
set(iconset ${CMAKE_CURRENT_BINARY_DIR}/Kestrelnet.iconset)
set(drawing ${CMAKE_SOURCE_DIR}/resources/icons/com.kestrelnetvpn.app.svg)

add_executable(draw-application-icon draw-application-icon.cpp)
target_link_libraries(draw-application-icon PRIVATE Qt6::Svg)
add_custom_command(OUTPUT ${resources}/Kestrelnet.icns
  COMMAND draw-application-icon ${drawing} ${iconset}
  COMMAND iconutil --convert icns --output ${resources}/Kestrelnet.icns ${iconset}
  DEPENDS draw-application-icon ${drawing}
  VERBATIM)

# The bundle contains Qt, but not the demonstration client. It is signed at the end, because a
# signature covers the content; the system starts no program for arm64 without one. The signature
# names nobody ("-"). What else runs from the bundle is signed first.
find_program(MACDEPLOYQT macdeployqt HINTS ${QT6_INSTALL_PREFIX}/bin)
add_custom_target(app
  COMMAND ${CMAKE_COMMAND} -E rm -f ${resources}/kestrelnet-client
  COMMAND ${MACDEPLOYQT} ${KESTRELNET_BUNDLE}
    -executable=$<TARGET_FILE:kestrelnet_network> -executable=$<TARGET_FILE:kestrelnet_drawing>
    -always-overwrite
  COMMAND codesign --force --sign - $<TARGET_FILE:privileged_helper>
  COMMAND codesign --force --deep --sign - ${KESTRELNET_BUNDLE}
  COMMAND codesign --verify --deep --strict ${KESTRELNET_BUNDLE}
  DEPENDS ${resources}/Kestrelnet.icns
  VERBATIM)
add_dependencies(app kestrelnet kestrelnet_drawing kestrelnet_network privileged_helper)
