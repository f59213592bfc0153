# Two targets: `bundle` builds the plug-in's folder, ready to be copied to the host's folder of
# plug-ins, and `installer` packs it into a file that a double click installs.
include(VelomarPictures)

if(APPLE)
  set(native_macos_program $<TARGET_FILE:velomar>)
endif()
set(VELOMAR_MACOS_PROGRAM "${native_macos_program}" CACHE STRING
  "The program for macOS that the bundle carries beside the one built here; may be empty")

set(VELOMAR_MACOS_STATE "" CACHE STRING
  "velomar-state for macOS, for a bundle that carries both programs; may be empty")

set(VELOMAR_BUNDLE_NAME com.brackenmoor.velomar.sdPlugin)
set(VELOMAR_BUNDLE ${velomar_BINARY_DIR}/${VELOMAR_BUNDLE_NAME})
set(VELOMAR_INSTALLER ${velomar_BINARY_DIR}/com.brackenmoor.velomar.streamDeckPlugin)

set(add_macos_program)
if(VELOMAR_MACOS_PROGRAM)
  set(add_macos_program
    COMMAND ${CMAKE_COMMAND} -E copy ${VELOMAR_MACOS_PROGRAM} ${VELOMAR_BUNDLE}/velomar-macos)
endif()

# velomar-state says why the panel is black. It needs no library that the program doesn't need.
set(add_state)
if(TARGET velomar-state)
  set(add_state COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:velomar-state> ${VELOMAR_BUNDLE}/)
endif()
if(VELOMAR_MACOS_STATE)
  list(APPEND add_state
    COMMAND ${CMAKE_COMMAND} -E copy ${VELOMAR_MACOS_STATE} ${VELOMAR_BUNDLE}/velomar-state-macos)
endif()

# The folder is made again each time, because a program that was started in it may have left files
# in its two folders for pictures and layouts, which have to be empty.
add_custom_target(bundle
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${VELOMAR_BUNDLE}
  COMMAND ${CMAKE_COMMAND} -E copy_directory ${velomar_SOURCE_DIR}/bundle ${VELOMAR_BUNDLE}
  COMMAND ${CMAKE_COMMAND} -E copy_directory ${VELOMAR_PICTURES} ${VELOMAR_BUNDLE}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${VELOMAR_BUNDLE}/images ${VELOMAR_BUNDLE}/layouts
  COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:velomar> ${VELOMAR_BUNDLE}/velomar
  ${add_macos_program}
  ${add_state}
  COMMENT "Making ${VELOMAR_BUNDLE_NAME}"
  VERBATIM)

add_dependencies(bundle pictures)

add_custom_target(installer
  COMMAND ${CMAKE_COMMAND} -E tar cf ${VELOMAR_INSTALLER} --format=zip -- ${VELOMAR_BUNDLE_NAME}
  WORKING_DIRECTORY ${velomar_BINARY_DIR}
  COMMENT "Making the installer"
  VERBATIM)
add_dependencies(installer bundle)
