target_sources(kerna_obj PRIVATE ${CMAKE_CURRENT_LIST_DIR}/Charset.cpp)
target_sources(kerna_obj PRIVATE ${CMAKE_CURRENT_LIST_DIR}/CharsetTables.cpp)
target_sources(kerna_obj PRIVATE ${CMAKE_CURRENT_LIST_DIR}/IntervalSet.cpp)
