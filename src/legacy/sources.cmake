# The older global-namespace interface. Exported from libkerna.so: CMutex, CGuard, CPacket,
# IPacketManager, CTime. Source-level (also in the companion library): the thread, timer,
# semaphore and file classes and the older hook function. LegacyObjects.cpp keeps the process-wide objects, in libkerna.so only.
target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/LegacyObjects.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Mutex.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Packet.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Time.cpp)
kerna_source_level(
  ${CMAKE_CURRENT_LIST_DIR}/File.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileSystem.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Managers.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Semaphore.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Thread.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Timer.cpp)
