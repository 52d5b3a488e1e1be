target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Mutex.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecursiveMutex.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ReadWriteMutex.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Semaphore.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ThreadSpecific.cpp
  ${CMAKE_CURRENT_LIST_DIR}/AtomicCount.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Process.cpp)
