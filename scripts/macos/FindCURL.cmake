# The target CURL::libcurl for a cross-build: the headers of the host's package, without the host's
# other headers beside them, and a stub library.
find_path(CURL_HOST_HEADERS curl/curl.h NO_DEFAULT_PATH
  PATHS /usr/include /usr/include/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu)
if(CURL_HOST_HEADERS)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers)
  file(CREATE_LINK ${CURL_HOST_HEADERS}/curl ${CMAKE_BINARY_DIR}/headers/curl SYMBOLIC)
  file(STRINGS ${CURL_HOST_HEADERS}/curl/curlver.h CURL_VERSION REGEX "define LIBCURL_VERSION ")
  string(REGEX MATCH "[0-9.]+" CURL_VERSION "${CURL_VERSION}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CURL REQUIRED_VARS CURL_HOST_HEADERS VERSION_VAR CURL_VERSION)
if(NOT TARGET CURL::libcurl)
  add_library(CURL::libcurl INTERFACE IMPORTED)
  target_include_directories(CURL::libcurl SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/headers)
  target_link_libraries(CURL::libcurl INTERFACE ${KESTRELNET_MACOS_STUBS}/libcurl.tbd)
endif()
