# Finds the headers only, since the library has nothing else.
find_path(CLI11_INCLUDE_DIR CLI/CLI.hpp)
mark_as_advanced(CLI11_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CLI11 REQUIRED_VARS CLI11_INCLUDE_DIR)

if(CLI11_FOUND AND NOT TARGET CLI11::CLI11)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  target_include_directories(CLI11::CLI11 SYSTEM INTERFACE ${CLI11_INCLUDE_DIR})
endif()
