# Cross-compiles for macOS with the compiler and the system headers of a packaged zig. Used by
# scripts/check-macos, which makes the programs in the folder KESTRELNET_MACOS_TOOLS.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${KESTRELNET_MACOS_PROCESSOR})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KESTRELNET_MACOS_TOOLS KESTRELNET_MACOS_PROCESSOR)

set(CMAKE_CXX_COMPILER ${KESTRELNET_MACOS_TOOLS}/c++)
set(CMAKE_OBJCXX_COMPILER ${KESTRELNET_MACOS_TOOLS}/c++)
set(CMAKE_AR ${KESTRELNET_MACOS_TOOLS}/ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${KESTRELNET_MACOS_TOOLS}/ranlib CACHE FILEPATH "")
# CMake asks for it, and no rule of the project uses it.
set(CMAKE_INSTALL_NAME_TOOL ${CMAKE_COMMAND} CACHE FILEPATH "")

# The compiler knows its own system root, and its name contains the processor.
set(CMAKE_OSX_SYSROOT "" CACHE STRING "")
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "")

set(CMAKE_USER_MAKE_RULES_OVERRIDE ${CMAKE_CURRENT_LIST_DIR}/rules.cmake)
