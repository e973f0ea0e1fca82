include(CMakeFindDependencyMacro)
find_dependency(PNG)
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})  # for CImg
find_dependency(CImg)
list(POP_FRONT CMAKE_MODULE_PATH)
include(${CMAKE_CURRENT_LIST_DIR}/remoraTargets.cmake)
