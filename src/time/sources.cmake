target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Time.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TimeFormat.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MonotonicClock.cpp)
