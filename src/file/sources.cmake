target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/PatternMatch.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DefaultFileTable.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HookTable.cpp
  ${CMAKE_CURRENT_LIST_DIR}/File.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LfsFile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileFind.cpp)
