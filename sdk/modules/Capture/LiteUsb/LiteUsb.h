// ICapture for cameras that stream over a vendor bulk endpoint (0x81) instead of UVC.
// The stream is started and stopped with class requests on the control endpoint; each
// frame comes as a header, full-size data packets and an end packet
// (LiteUsbFrameAssembler), goes into one of two slots and is handed to the callback on a
// thread of its own (LiteUsbFrameQueue). The driver sets the stream type first, through
// cmdMsg with the 0xBBBB selector.
//
// Threads: a capture thread reads and reassembles, a callback thread delivers; the
// stream-lifecycle contract of ICapture.h holds. stop() and close() called from the
// callback return at once and leave the threads to be joined by the next call from
// another thread (start, stop, close, open or the destructor); start() there is refused.
#pragma once

#include <libusb.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "ICapture.h"
#include "LiteUsbFrameAssembler.h"
#include "LiteUsbFrameQueue.h"

class LiteUsbBulkReader;

class LiteUsb : public ICapture {
public:
    static constexpr uint8_t kNoStreamType = 0x86;

    LiteUsb();
    LiteUsb(int vid, int pid, int bus, int address, unsigned packetSize, unsigned transferSize, unsigned frameSize);
    ~LiteUsb() override;
    LiteUsb(const LiteUsb&) = delete;
    LiteUsb& operator=(const LiteUsb&) = delete;

    int open() override;
    int close() override;
    int getCapability(std::vector<video_attr_s>&) override { return 0; }
    int start(video_cfg const& cfg) override;
    int stop() override;
    int cmdMsg(void* request) override;
    int read(void*, int, int) override { return 0; }

    int cmd_startStream();
    int cmd_stopStream();
    int createBuffer();
    void freeBuffer();

private:
    // One started stream: what its two threads share.
    struct Stream {
        std::atomic<bool> running{true};
        video_cfg cfg;
        std::unique_ptr<LiteUsbBulkReader> reader;
        std::thread capture;
        std::thread callback;
    };

    void capture(Stream& stream);
    void processCallback(Stream& stream);
    // The device with our identifiers at our bus and address; a reference the caller drops.
    libusb_device* findDevice() const;
    int claimInterface();
    // Marks the stream stopped and wakes both of its threads; joins nothing.
    void halt(Stream& stream);
    // Ends the current stream: joined when called from outside its callback, else kept
    // for a later join. Call with m_lifecycle held.
    std::vector<std::unique_ptr<Stream>> takeStreams();
    static void join(std::vector<std::unique_ptr<Stream>>& streams);
    // From outside the callback thread: joins what stop/close left behind inside a
    // callback, and finishes a close made there.
    void finishDeferred();
    void releaseDevice();
    bool onCallbackThread() const;

    libusb_device_handle* m_handle = nullptr;
    libusb_context* m_context = nullptr;
    std::atomic<bool> m_opened{false};
    int m_vid = 0, m_pid = 0, m_bus = 0, m_address = 0;
    unsigned m_packetSize = 512, m_transferSize = 0x20000, m_frameSize = 0;
    LiteUsbFrameQueue m_frames;
    std::unique_ptr<unsigned char[]> m_transfer;
    LiteUsbFrameAssembler m_assembler;
    std::atomic<uint8_t> m_streamType{kNoStreamType};
    std::atomic<bool> m_deviceGone{false};

    std::mutex m_lifecycle;                       // guards the fields below; never held while joining
    std::unique_ptr<Stream> m_stream;             // the stream started last, until stopped
    std::vector<std::unique_ptr<Stream>> m_ended;  // stopped from inside a callback, not yet joined
    bool m_closePending = false;                  // closed from inside a callback
};
