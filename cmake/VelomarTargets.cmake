# The settings that every target of this tree is built with. Nothing here leaks into a project that
# takes the tree as a part of itself.

add_library(velomar_options INTERFACE)
target_compile_features(velomar_options INTERFACE cxx_std_17)
target_compile_options(velomar_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<BOOL:${VELOMAR_WARNINGS_AS_ERRORS}>:-Werror>)
if(VELOMAR_SANITIZE)
  target_compile_options(velomar_options INTERFACE
    -fsanitize=${VELOMAR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # With the sanitizers GCC takes initialised objects of its own library for uninitialised. Builds
  # without them keep the warning.
  target_compile_options(velomar_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(velomar_options INTERFACE -fsanitize=${VELOMAR_SANITIZE})
endif()

# velomar_add_library(<name> <source>...) adds a static library whose includes are written from the
# tree's root. It can be linked into a shared object, which then shows none of its symbols, because
# two plug-ins in one process must not take each other's.
function(velomar_add_library name)
  add_library(${name} STATIC ${ARGN})
  velomar_set_up(${name} PUBLIC)
  set_target_properties(${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# velomar_add_executable(<name> <source>...) adds a program in the same way.
function(velomar_add_executable name)
  add_executable(${name} ${ARGN})
  velomar_set_up(${name} PRIVATE)
endfunction()

function(velomar_set_up name visibility)
  target_include_directories(${name} ${visibility} $<BUILD_INTERFACE:${velomar_SOURCE_DIR}>)
  target_compile_features(${name} ${visibility} cxx_std_17)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:velomar_options>)
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF)
endfunction()
