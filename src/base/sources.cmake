target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Log.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ExitRoutine.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ReferencePaths.cpp)
