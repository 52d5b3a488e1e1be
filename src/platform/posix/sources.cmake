target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Lock.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Tls.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Process.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Console.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Clock.cpp
  ${CMAKE_CURRENT_LIST_DIR}/WallClock.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Thread.cpp
  ${CMAKE_CURRENT_LIST_DIR}/File.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Module.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Fork.cpp)
target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/LocalTime.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SystemMutex.cpp)
# Holds no state: the older ExitThread of the companion library carries a copy.
kerna_source_level(${CMAKE_CURRENT_LIST_DIR}/ThreadExit.cpp)
