target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/LogFileName.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LogFileWriter.cpp)
