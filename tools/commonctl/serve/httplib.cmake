# cpp-httplib for this build's word size: makes the target common_httplib when it is there. What the library
# was compiled with, and its header must know, pkg-config tells.
include(CheckCXXSourceCompiles)
find_package(Threads REQUIRED)
find_package(PkgConfig QUIET)
# Also for tests, which are in another folder.
set_target_properties(nlohmann_json::nlohmann_json PROPERTIES IMPORTED_GLOBAL TRUE)
if(PkgConfig_FOUND)
  pkg_check_modules(HTTPLIB QUIET IMPORTED_TARGET GLOBAL cpp-httplib)
endif()
if(TARGET PkgConfig::HTTPLIB)
  # With the flags of this build, which decide on the word size.
  get_directory_property(options COMPILE_OPTIONS)
  list(JOIN options " " CMAKE_REQUIRED_FLAGS)
  set(CMAKE_REQUIRED_LIBRARIES PkgConfig::HTTPLIB Threads::Threads)
  check_cxx_source_compiles("#include <httplib.h>\nint main() { httplib::Server server; }" COMMON_HTTPLIB_LINKS)
  unset(CMAKE_REQUIRED_FLAGS)
  unset(CMAKE_REQUIRED_LIBRARIES)
  if(COMMON_HTTPLIB_LINKS)
    add_library(common_httplib INTERFACE)
    target_link_libraries(common_httplib INTERFACE PkgConfig::HTTPLIB nlohmann_json::nlohmann_json
                                                   Threads::Threads)
  endif()
endif()
