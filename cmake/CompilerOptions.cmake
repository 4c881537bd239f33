# Options every target of the project gets. Includes start at the root of the source tree, so that an
# include line always names its room.
option(KESTRELNET_WARNINGS_AS_ERRORS
  "Stop at a warning; off by default, because a newer compiler has new ones" OFF)
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(KESTRELNET_WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()
add_compile_options($<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2> -fstack-protector-strong
                    -fvisibility=hidden -fvisibility-inlines-hidden)
# Neither the place of a build nor that of the sources is to be seen in what is built.
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
# Build folders within the sources have the same options, so that they share the compiler's cache.
cmake_path(IS_PREFIX CMAKE_SOURCE_DIR ${CMAKE_BINARY_DIR} NORMALIZE isWithinSources)
if(NOT isWithinSources)
  add_compile_options(-ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
endif()
include_directories(${CMAKE_SOURCE_DIR})
add_compile_definitions(QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS
                        QT_DISABLE_DEPRECATED_BEFORE=0x060400)

# For the builds of .ci/run, which parse the same headers many times. Other builds, those of the
# packages and of scripts/check-macos among them, go without, so that a missing include line is found.
option(KESTRELNET_PRECOMPILE "Precompile the headers of the standard library and of the toolkit" OFF)
option(KESTRELNET_COMBINE_TESTS "Compile several sources of a test program at once" OFF)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # The compiler's cache could not serve what depends on a time.
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
endif()

# Position-independent programs without what nobody calls, and no table of theirs that could be
# written to once they run.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT APPLE)
  add_compile_options(-ffunction-sections -fdata-sections)
  add_link_options(-Wl,-z,relro,-z,now,--as-needed,--gc-sections)
endif()

if(KESTRELNET_SANITIZE)
  add_compile_options(-fsanitize=${KESTRELNET_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  if(KESTRELNET_SANITIZE MATCHES undefined)
    # It opens a pipe to look at memory, and takes it for bad where a test leaves no descriptor.
    add_compile_options(-fno-sanitize=vptr)
    add_link_options(-fno-sanitize=vptr)
  endif()
  add_link_options(-fsanitize=${KESTRELNET_SANITIZE})
endif()

# Not -O3, which makes the program larger in memory and nothing here faster.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_OBJCXX_FLAGS_RELEASE ${CMAKE_CXX_FLAGS_RELEASE})
