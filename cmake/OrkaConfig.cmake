include("${CMAKE_CURRENT_LIST_DIR}/OrkaTargets.cmake")
