// A USB Video Class 1.1 device: VideoControl interface 0 with a camera terminal (1),
// an extension unit (10 by default) and an output terminal (3); VideoStreaming
// interface 1 with the declared formats on a bulk or isochronous endpoint. Answers
// probe/commit, sends each frame as payloads with 12-byte UVC headers (FID, EOF, PTS,
// SCR), paced at the frame period. Subclasses supply the frames and the extension
// unit's behaviour.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "UsbDeviceModel.h"
#include "UvcModelTypes.h"

namespace orrindale::emulator {

class UvcPayloadWriter;

class UvcDeviceModel : public UsbDeviceModel {
public:
    static constexpr uint8_t kControlInterface = 0;
    static constexpr uint8_t kStreamingInterface = 1;

    UvcDeviceModel(const UvcIdentity& identity, const UvcStreaming& streaming, uint8_t extensionUnitId = 10);
    ~UvcDeviceModel() override;

    std::vector<uint8_t> descriptors() const override { return m_descriptors; }
    std::string stringDescriptor(uint8_t index) const override;
    int classOrVendorRequest(const ControlSetup& setup, uint8_t* data) override;
    int dataTransfer(uint8_t endpoint, uint8_t* buffer, int length) override;
    int isochronousPacket(uint8_t endpoint, uint8_t* buffer, int length) override;
    void alternateSettingSelected(int interfaceNumber, int alternate) override;
    void pluggedIn() override;
    void unplugged() override;

    // Thread safe.
    uint64_t framesSent() const;
    uint32_t commits() const;
    std::optional<UvcStreamSelection> committed() const;
    // Waits until `count` frames were sent since the device was created; false on timeout.
    bool waitForFrames(uint64_t count, std::chrono::milliseconds timeout) const;

protected:
    // One frame's bytes and how many of them to send.
    struct Frame {
        std::shared_ptr<const std::vector<uint8_t>> bytes;
        size_t length = 0;
    };

    // The next frame to send (sequence counts from 0 per stream); nothing when the
    // device should stay silent. Called with mutex() held.
    virtual std::optional<Frame> nextFrame(const UvcStreamSelection& selection, uint64_t sequence) = 0;
    // Time between frames; by default the committed interval. Called with mutex() held.
    virtual std::chrono::nanoseconds framePeriod(const UvcStreamSelection& selection) const;
    // A request to the extension unit (interface 0, entity extensionUnitId). By default
    // a bank of 64-byte controls: SET_CUR stores, GET_CUR returns.
    virtual int extensionUnitRequest(const ControlSetup& setup, uint8_t* data);
    // The host committed a stream. Called with mutex() held.
    virtual void streamCommitted(const UvcStreamSelection&) {}
    // Restart the pacing now (for instance after a silence ends). Call with mutex() held.
    void restartPacing();

    const UvcStreaming& streaming() const { return m_streaming; }
    uint8_t extensionUnitId() const { return m_extensionUnitId; }

private:
    int streamingRequest(const ControlSetup& setup, uint8_t* data);
    void negotiate(uint8_t* control) const;
    void defaultControl(uint8_t* control) const;
    UvcStreamSelection selectionOf(const uint8_t* control) const;
    uint32_t maxFrameBytes(int formatIndex, int frameIndex) const;
    // Fills one payload; kTransferNotReady when no frame is due yet.
    int writePayload(uint8_t* buffer, int length);
    void buildDescriptors();

    UvcIdentity m_identity;
    UvcStreaming m_streaming;
    uint8_t m_extensionUnitId;
    std::vector<uint8_t> m_descriptors;
    uint8_t m_probe[34] = {};
    uint8_t m_commit[34] = {};
    std::vector<std::vector<uint8_t>> m_extensionControls;
    // Stream state.
    bool m_streamOn = false;
    UvcStreamSelection m_selection;
    std::optional<Frame> m_current;
    size_t m_offset = 0;
    uint64_t m_sequence = 0;
    Clock::time_point m_nextDue;
    std::unique_ptr<UvcPayloadWriter> m_payloads;
    uint64_t m_framesSent = 0;
    uint32_t m_commits = 0;
    bool m_everCommitted = false;
    mutable std::condition_variable m_frameSent;
};

}  // namespace orrindale::emulator
