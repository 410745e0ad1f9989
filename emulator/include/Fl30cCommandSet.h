// The Fl30c's extension-unit command channel, device side: class requests to
// interface 0, unit 10 (wIndex 0x0A00), wValue 0x0100, the command code in bRequest.
// 0x21 writes carry decimal (or register) text from byte 0; 0xA1 reads answer 64 bytes:
// byte 0 echoes the code, the text follows, zero-terminated. Every setting is kept and
// read back; unknown codes, unparsable text and reads of write-only codes STALL.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace orrindale::emulator {

enum class Fl30cStreamMode { Depth = 0, Ir = 1, Alternate = 2 };

struct Fl30cSettings {
    std::string firmwareVersion = "FL30C:V1.0.8:H01:20241021";
    std::string himaxVersion = "HX2.1.7";
    std::string serialNumber = "FL30C0001";  // what 0x29 reads and writes
    float temperatures[3] = {41.25f, 38.5f, 45.75f};  // codes 0x26, 0x2C, 0x37
    int frameRate = 15;                  // 0x54: pacing of the stream
    Fl30cStreamMode streamMode = Fl30cStreamMode::Depth;  // 0x20
    int lightingTime = 1000;             // 0x22
    int aeMode = 1;                      // 0x23
    int confidenceLevel = 3;             // 0x24
    int currentIntensity = 5;            // 0x36 (also the ITO value)
    int temperatureDrift = 1;            // 0x48
    int temporalDenoise = 1;             // 0x51
    int spatialDenoise = 2;              // 0x52
    uint8_t gainCoarse = 0x2F;           // register 3e08 (gain 8)
    uint8_t gainFine = 0x24;             // register 3e09
    int reboots = 0;                     // 0x33 writes
};

class Fl30cCommandSet {
public:
    static constexpr uint16_t kIndex = 0x0A00;
    static constexpr uint16_t kValue = 0x0100;
    static constexpr int kPayload = 64;

    explicit Fl30cCommandSet(const Fl30cSettings& initial) : m_settings(initial) {}

    // A write (0x21) of `length` bytes; false when refused (STALL).
    bool write(uint8_t code, const uint8_t* payload, int length);
    // A read (0xA1): fills `reply` (64 bytes); false when refused (STALL).
    bool read(uint8_t code, uint8_t* reply);

    // The gain number 1..28 of a (coarse, fine) register pair; 0 when none has it.
    static int gainOf(uint8_t coarse, uint8_t fine);
    // The (coarse, fine) pair of gain 1..28.
    static std::optional<std::pair<uint8_t, uint8_t>> registersOf(int gain);
    // MJPEG size chosen by the third ':' field of a firmware version; nothing when unknown.
    static std::optional<std::pair<int, int>> mjpegSizeOf(const std::string& firmwareVersion);

    Fl30cSettings& settings() { return m_settings; }
    const Fl30cSettings& settings() const { return m_settings; }
    // Byte 0 of the replies to `code` becomes `echo` (a test's wrong echo); nothing restores it.
    void setEcho(uint8_t code, std::optional<uint8_t> echo);

private:
    std::string replyText(uint8_t code, bool& known) const;

    Fl30cSettings m_settings;
    std::map<uint8_t, uint8_t> m_echo;
};

}  // namespace orrindale::emulator
