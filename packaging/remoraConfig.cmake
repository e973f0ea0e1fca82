include(CMakeFindDependencyMacro)
find_dependency(PNG)
include(${CMAKE_CURRENT_LIST_DIR}/remoraTargets.cmake)
