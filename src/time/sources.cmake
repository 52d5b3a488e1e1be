target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Time.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TimeFormat.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MonotonicClock.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Clock.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TimeSetting.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DstRule.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DstManager.cpp)
