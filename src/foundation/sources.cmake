target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/PrintLog.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PrintState.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LogFile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LogControl.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Error.cpp)
