target_sources(kerna_obj PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/Buffer.cpp
    ${CMAKE_CURRENT_LIST_DIR}/BuddyAllocator.cpp
    ${CMAKE_CURRENT_LIST_DIR}/MemPool.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Packet.cpp
    ${CMAKE_CURRENT_LIST_DIR}/PacketManager.cpp
    ${CMAKE_CURRENT_LIST_DIR}/SharePacketHelper.cpp
)
kerna_source_level(${CMAKE_CURRENT_LIST_DIR}/PacketFailCallback.cpp)
