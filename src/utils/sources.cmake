target_sources(kerna_obj PRIVATE ${CMAKE_CURRENT_LIST_DIR}/Charset.cpp)
target_sources(kerna_obj PRIVATE ${CMAKE_CURRENT_LIST_DIR}/CharsetTables.cpp)
kerna_source_level(${CMAKE_CURRENT_LIST_DIR}/IntervalSet.cpp)
target_sources(kerna_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Accel.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Aes.cpp
  ${CMAKE_CURRENT_LIST_DIR}/AesCore.cpp
  ${CMAKE_CURRENT_LIST_DIR}/AesNi.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Base16.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Base64.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Crc.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CrcClmul.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DesCore.cpp
  ${CMAKE_CURRENT_LIST_DIR}/IpAddress.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Md5.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Sha1.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Sha1ShaNi.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StringUtil.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TripleDes.cpp)
