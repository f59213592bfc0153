# Installs the parts other than the library for the simulator's side, and makes the packages:
#   velomar          component `program`: the bundle, for the user to copy to the host's folder, since
#                    the program writes into it; and velomar-state
#   velomar-bridge   component `bridge`: the ready-made simulator's side, its panels and symbols
#   velomar-tools    component `tools`: the virtual deck with its page
#   libvelomar-dev   component `simulator`
include(GNUInstallDirs)

set(bundle lib/velomar/${VELOMAR_BUNDLE_NAME})
install(TARGETS velomar RUNTIME DESTINATION ${bundle} COMPONENT program)
install(DIRECTORY ${velomar_SOURCE_DIR}/bundle/ ${VELOMAR_PICTURES}/
  DESTINATION ${bundle} COMPONENT program)
foreach(scratch IN ITEMS images layouts)
  install(DIRECTORY DESTINATION ${bundle}/${scratch} COMPONENT program)
endforeach()
install(TARGETS velomar-state RUNTIME DESTINATION ${bundle} COMPONENT program)
if(VELOMAR_BUILD_TOOLS)
  install(TARGETS velomar-state RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
  install(TARGETS velomar-deck RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(DIRECTORY ${velomar_SOURCE_DIR}/tools/deck/web/
    DESTINATION ${CMAKE_INSTALL_DATADIR}/velomar/deck COMPONENT tools)
endif()

# velomar_package(<component> <package> <section> <what it is>)
set(CPACK_COMPONENTS_ALL)
macro(velomar_package component package section description)
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${description}")
  install(FILES ${velomar_SOURCE_DIR}/LICENSE RENAME copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endmacro()

velomar_package(program velomar games "Stream Deck devices as the panel of a flight simulator")
if(TARGET velomar-bridge)
  velomar_package(bridge velomar-bridge games "X-Plane, FlightGear or a trainer as the panel's simulator")
endif()
if(VELOMAR_BUILD_TOOLS)
  velomar_package(tools velomar-tools games "A virtual Stream Deck, for those who write panels")
endif()
velomar_package(simulator libvelomar-dev libdevel "The simulator's side of Velomar, as a library")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "nlohmann-json3-dev (>= 3.11)")

set(CPACK_PACKAGE_VENDOR "the Velomar authors")
set(CPACK_PACKAGE_CONTACT "${CPACK_PACKAGE_VENDOR}")
set(CPACK_RESOURCE_FILE_LICENSE ${velomar_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
