// DemoPackets.cpp
//
// The packet scene of `kerna demo`: a pool policy chosen before the first packet, packets
// flowing from a producer thread to a consumer thread through the pool (views, extra data,
// copies across threads), then the manager's dump of live blocks by thread and free lists.
#include <stdio.h>
#include <string.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <kerna/kerna.h>

#include "Commands.h"

using Tessaran::Memory::CPacket;
using Tessaran::Memory::CPacketManager;

namespace KernaTool {

namespace {

struct FrameHeader {
    unsigned int sequence;
    unsigned int length;
};

class FrameQueue {
public:
    void push(const CPacket& p) {
        std::unique_lock<std::mutex> g(m_lock);
        m_room.wait(g, [this] { return m_frames.size() < 8; });
        m_frames.push_back(p);
        m_ready.notify_one();
    }
    bool pop(CPacket& p) {
        std::unique_lock<std::mutex> g(m_lock);
        m_ready.wait(g, [this] { return !m_frames.empty() || m_done; });
        if (m_frames.empty()) return false;
        p = m_frames.front();
        m_frames.pop_front();
        m_room.notify_one();
        return true;
    }
    void finish() {
        std::lock_guard<std::mutex> g(m_lock);
        m_done = true;
        m_ready.notify_all();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_room;
    std::condition_variable m_ready;
    std::deque<CPacket> m_frames;
    bool m_done = false;
};

}  // namespace

int demoPackets() {
    printf("\n== packets: a 256 KiB pool of 1 KiB chunks, frames from a producer to a consumer\n");
    CPacketManager::PoolParameter param;
    param.totalSize = 256 * 1024;
    param.chunkSize = 1024;
    CPacketManager::config(CPacketManager::policyPool, nullptr, &param);
    CPacketManager* manager = CPacketManager::instance();
    manager->enableNodesStatistics(true);
    printf("pool: %llu bytes, %llu free\n", (unsigned long long)manager->getBufferSize(),
           (unsigned long long)manager->getFreeSize());

    FrameQueue queue;
    CPacket kept[3];
    unsigned long long payloadBytes = 0;
    int frames = 0;
    std::thread producer([&queue] {
        for (unsigned int i = 0; i < 40; ++i) {
            // A frame: payload of 500 to 6,000 bytes, a header in the extra data.
            const unsigned int length = 500 + (i * 1373) % 5500;
            CPacket frame(length, sizeof(FrameHeader));
            if (!frame.valid()) continue;
            memset(frame.getBuffer(), int(i), length);
            FrameHeader header = {i, length};
            memcpy(frame.getExtraData(), &header, sizeof header);
            queue.push(frame);
        }
        // Three frames that the consumer keeps until after the dump.
        for (unsigned int i = 0; i < 3; ++i) queue.push(CPacket(3000, sizeof(FrameHeader)));
        queue.finish();
    });
    std::thread consumer([&] {
        CPacket frame;
        int index = 0;
        while (queue.pop(frame)) {
            // A view on the second half: shares the pool block, keeps the frame alive.
            CPacket half(frame, frame.size() / 2, frame.size() - frame.size() / 2, 0);
            payloadBytes += half.size();
            if (index >= 40 && index - 40 < 3) kept[index - 40] = half;
            ++index;
            ++frames;
        }
    });
    producer.join();
    consumer.join();
    printf("consumer: %d frames, %llu bytes seen through views; 3 views still held\n", frames, payloadBytes);
    printf("free now: %llu bytes; the dump shows the live blocks by allocating thread:\n",
           (unsigned long long)manager->getFreeSize());
    fflush(stdout);
    manager->dumpNodes();
    for (CPacket& p : kept) p.reset();
    printf("after the last views: %llu of %llu bytes free\n", (unsigned long long)manager->getFreeSize(),
           (unsigned long long)manager->getBufferSize());
    manager->enableNodesStatistics(false);
    return 0;
}

}  // namespace KernaTool
