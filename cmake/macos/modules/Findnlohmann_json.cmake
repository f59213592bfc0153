# Replaces the package's own description, which would add all of /usr/include.
find_path(nlohmann_json_INCLUDE_DIR nlohmann/json.hpp)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(nlohmann_json REQUIRED_VARS nlohmann_json_INCLUDE_DIR)
if(nlohmann_json_FOUND AND NOT TARGET nlohmann_json::nlohmann_json)
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
  target_include_directories(nlohmann_json::nlohmann_json INTERFACE ${nlohmann_json_INCLUDE_DIR})
endif()
