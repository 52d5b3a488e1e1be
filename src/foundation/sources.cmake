target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/PrintLog.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PrintState.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LogFile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LogControl.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Error.cpp)
target_sources(kerna_obj PRIVATE ${CMAKE_CURRENT_LIST_DIR}/Version.cpp)
kerna_source_level(${CMAKE_CURRENT_LIST_DIR}/CheckIncludeVersion.cpp)
