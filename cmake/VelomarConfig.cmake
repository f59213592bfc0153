include(CMakeFindDependencyMacro)
find_dependency(Threads)
find_dependency(nlohmann_json 3.11)
include(${CMAKE_CURRENT_LIST_DIR}/VelomarTargets.cmake)
