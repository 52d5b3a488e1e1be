target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Testing.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Startup.cpp)
