# The compiler links no bundles, so a module is a dynamic library.
set(CMAKE_SHARED_MODULE_CREATE_CXX_FLAGS "-dynamiclib")
