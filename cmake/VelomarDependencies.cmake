# Libraries of the system. Their headers come in as system headers, so that they cause no warnings
# here. The switches that they need are set on these targets and not in sources.

find_package(Threads REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(fmt 9 REQUIRED)

find_path(VELOMAR_WEBSOCKETPP_DIR websocketpp/client.hpp REQUIRED)
find_path(VELOMAR_ASIO_DIR asio.hpp REQUIRED)

# The program is copied to machines that have no fmt library, or another version of it. So it takes
# all of fmt from the headers where these allow that.
add_library(velomar_fmt INTERFACE)
target_link_libraries(velomar_fmt INTERFACE
  $<IF:$<TARGET_EXISTS:fmt::fmt-header-only>,fmt::fmt-header-only,fmt::fmt>)

# Standalone Asio. websocketpp 0.8.2 needs a switch to use C++11, and doesn't compile as C++20. Asio
# uses aligned allocation or not by the headers that were included before it, and files that differ
# in this must not be linked together, so it is switched off.
add_library(velomar_websocketpp INTERFACE)
target_include_directories(velomar_websocketpp SYSTEM INTERFACE
  ${VELOMAR_WEBSOCKETPP_DIR} ${VELOMAR_ASIO_DIR})
target_compile_definitions(velomar_websocketpp INTERFACE
  ASIO_STANDALONE ASIO_DISABLE_STD_ALIGNED_ALLOC _WEBSOCKETPP_CPP11_STL_)
target_link_libraries(velomar_websocketpp INTERFACE Threads::Threads)

# Few systems package this header, so a small one of ours takes its place.
add_library(velomar_filesystem INTERFACE)
find_path(VELOMAR_GHC_DIR ghc/filesystem.hpp)
if(VELOMAR_GHC_DIR)
  target_include_directories(velomar_filesystem SYSTEM INTERFACE ${VELOMAR_GHC_DIR})
else()
  target_include_directories(velomar_filesystem INTERFACE ${velomar_SOURCE_DIR}/cmake/substitutes)
endif()
