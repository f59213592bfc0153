# The library for the simulator's side as a CMake package: find_package(Velomar), Velomar::simulator.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/Velomar)
foreach(part IN ITEMS common store simulator)
  set_target_properties(velomar_${part} PROPERTIES EXPORT_NAME ${part})
  target_include_directories(velomar_${part} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velomar>)
  install(TARGETS velomar_${part} EXPORT VelomarTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT simulator)
  install(DIRECTORY ${velomar_SOURCE_DIR}/${part}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velomar COMPONENT simulator
    FILES_MATCHING PATTERN "*.h")
endforeach()
install(EXPORT VelomarTargets NAMESPACE Velomar:: DESTINATION ${package} COMPONENT simulator)

write_basic_package_version_file(${velomar_BINARY_DIR}/VelomarConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_LIST_DIR}/VelomarConfig.cmake ${velomar_BINARY_DIR}/VelomarConfigVersion.cmake
  DESTINATION ${package} COMPONENT simulator)
