target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Thread.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ThreadManager.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ThreadLoadingController.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Timer.cpp)
