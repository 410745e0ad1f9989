// Serves the V4L2 requests on one video node of an emulated video function (the capture
// node or the metadata node), as uvcvideo and the V4L2 core answer them: capabilities,
// formats, rates, the input, priorities, the buffer queue with its owner, streaming.
// A VIDIOC_DQBUF is completed when its frame is due (the host stays blocked in ioctl()
// until then), from a timer on umockdev's worker thread: no thread of our own.
// Runs on the worker under the function's lock; a new handler serves each plug-in.
#pragma once

#include <linux/videodev2.h>
#include <umockdev.h>

#include <chrono>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ServiceTimer.h"
#include "V4l2BufferQueue.h"

namespace orrindale::emulator {

struct VideoFunctionState;

class V4l2NodeHandler {
public:
    enum class Kind { Capture, Metadata };

    V4l2NodeHandler(VideoFunctionState& state, Kind kind, std::string deviceNode, std::string nodeFile);
    V4l2NodeHandler(const V4l2NodeHandler&) = delete;
    V4l2NodeHandler& operator=(const V4l2NodeHandler&) = delete;
    ~V4l2NodeHandler();

    bool attach(UMockdevTestbed* testbed);
    void detach(UMockdevTestbed* testbed);
    // With the function's lock held: requests waiting for a frame fail with ENODEV.
    void markGoneLocked();
    // Without the lock: lets go of the hosts' request records that completed. (Dropping
    // the last reference runs forgetClient, which takes the lock.)
    void dropReleased();
    // On the worker thread (ServiceTimer::runOnWorker): stop handling for good.
    void release();
    ServiceTimer& timer() { return m_timer; }

    // With the function's lock held.
    int openHandlesLocked() const { return int(m_clients.size()); }
    bool streamingLocked() const { return m_streaming; }

private:
    struct Client;
    struct Registry;
    struct WaitingDequeue {
        UMockdevIoctlClient* client;
        UMockdevIoctlData* buffer;
        std::chrono::steady_clock::time_point due;
    };
    using Clock = std::chrono::steady_clock;

    static gboolean onIoctl(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static gboolean onReadWrite(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static void forgetClient(gpointer record);

    Client& clientOf(UMockdevIoctlClient* client);
    void handle(UMockdevIoctlClient* client, Client& me);
    uint32_t bufferType() const;
    unsigned highestPriority() const;
    // uvcvideo's privileges: the first handle that configures or streams owns the queue.
    bool acquire(Client& me);
    void releaseQueue();
    void stopStreaming(int waitingError);

    int queryCap(UMockdevIoctlData* arg);
    int enumFormat(UMockdevIoctlData* arg);
    int format(UMockdevIoctlData* arg, unsigned long request, Client& me);
    int frameSizes(UMockdevIoctlData* arg);
    int frameIntervals(UMockdevIoctlData* arg);
    int parameters(UMockdevIoctlData* arg, bool set, Client& me);
    int inputs(UMockdevIoctlData* arg, unsigned long request);
    int priority(UMockdevIoctlData* arg, bool set, Client& me);
    int requestBuffers(UMockdevIoctlData* arg, Client& me);
    int createBuffers(UMockdevIoctlData* arg, Client& me);
    size_t imageSize() const;
    int queryBuffer(UMockdevIoctlData* arg);
    int queueBuffer(UMockdevIoctlData* arg, Client& me);
    // Completes now, or parks the request until its frame is due; returns 1 when it did
    // not complete yet.
    int dequeueBuffer(UMockdevIoctlClient* client, UMockdevIoctlData* arg, Client& me);
    int streamOn(UMockdevIoctlData* arg, Client& me, bool on);

    Clock::time_point dueOf(uint64_t frame) const;
    void deliver(UMockdevIoctlClient* client, UMockdevIoctlData* buffer);
    void describe(v4l2_buffer& b, unsigned index) const;
    size_t produce(unsigned index, uint32_t sequence);
    // Timer: completes the waiting DQBUFs whose frame is due.
    void service();
    void serviceLocked();

    VideoFunctionState& m_state;
    Kind m_kind;
    std::string m_deviceNode;
    V4l2BufferQueue m_queue;
    ServiceTimer m_timer;
    std::shared_ptr<Registry> m_registry;
    std::list<Client*> m_clients;
    UMockdevIoctlBase* m_base = nullptr;
    bool m_attached = false;
    bool m_gone = false;  // unplugged: every request fails with ENODEV

    Client* m_owner = nullptr;
    bool m_streaming = false;
    Clock::time_point m_streamStart;
    Clock::duration m_period{};
    uint64_t m_frame = 0;  // number of the next frame since STREAMON
    std::list<WaitingDequeue> m_waiting;
    std::vector<UMockdevIoctlClient*> m_drop;
};

}  // namespace orrindale::emulator
