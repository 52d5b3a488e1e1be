target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/MonotonicClock.cpp
)
