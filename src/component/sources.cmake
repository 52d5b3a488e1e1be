target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Unknown.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Client.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ClientInstanceList.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Registry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Factory.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ServerInfoQueryerHelper.cpp)
