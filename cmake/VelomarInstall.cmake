# Installs the library for the simulator's side. It is a CMake package, find_package(Velomar), with
# Velomar::simulator for C++ and Velomar::c for C; pkg-config knows the C library as velomar.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/Velomar)
foreach(part IN ITEMS common store simulator c)
  set_target_properties(velomar_${part} PROPERTIES EXPORT_NAME ${part})
  install(TARGETS velomar_${part} EXPORT VelomarTargets COMPONENT simulator)
endforeach()
foreach(part IN ITEMS simulator c)
  target_include_directories(velomar_${part} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
install(FILES ${VELOMAR_PUBLIC_HEADERS}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velomar COMPONENT simulator)
install(EXPORT VelomarTargets NAMESPACE Velomar:: DESTINATION ${package} COMPONENT simulator)

write_basic_package_version_file(${velomar_BINARY_DIR}/VelomarConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_LIST_DIR}/VelomarConfig.cmake ${velomar_BINARY_DIR}/VelomarConfigVersion.cmake
  DESTINATION ${package} COMPONENT simulator)

# The file refers to the package relative to its own place, so that an installed folder can be
# moved.
set(pkgconfig ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH VELOMAR_PREFIX_FROM_PC /${pkgconfig} /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/velomar.pc.in ${velomar_BINARY_DIR}/velomar.pc @ONLY)
install(FILES ${velomar_BINARY_DIR}/velomar.pc DESTINATION ${pkgconfig} COMPONENT simulator)

# The Python package looks for the library in the folders above its own first.
set(python ${CMAKE_INSTALL_LIBDIR}/python3)
install(DIRECTORY ${velomar_SOURCE_DIR}/python/velomar DESTINATION ${python} COMPONENT simulator
  PATTERN __pycache__ EXCLUDE)
