// The firmware of a Solen camera's control function, as the device runs it: it takes the
// host's bytes (each request ends at a zero byte), answers every request with a text
// ended by a zero byte, keeps what it was set to, records every request, and misbehaves
// on demand. The same firmware sits behind the USB bulk pair and behind the serial
// bridge; thread safe.
//
// Requests: "ARG WRITE:<key>=<value>", "ARG READ:<key>=", "I2C WRITE:K=<rrrr>:<vv>" (hex).
// Answers:  a write "OK"; a number "READ OK:<value>,<key>" (the number at index 8);
//           a text "READ OK:<key>=<text>"; the firmware version "READ OK:V=<part>,<part>";
//           an unknown request "ERR:UNKNOWN <request>"; a refused value "WRITE FAIL:<key>".
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace orrindale::emulator {

struct SolenSettings {
    std::string serialNumber = "GM800001";                     // SN (1..63 printable characters)
    std::string firmwareParts = "MCU_V1.3.2,ISP_V2.0.7";       // V: parts joined by ','
    std::string himaxVersion = "HX6.2.1";                      // HF
    std::string calibration = "640,400,535.125,535.125,319.5,199.5";  // PA: w,h,fx,fy,cx,cy
    int aeMode = 1;                  // E   0..99
    int clMode = 0;                  // C   0..99
    int pwmDuty = 60;                // P   0..100
    int lightingTime = 20;           // T   0..9999
    int sdLevel = 2;                 // SD  0..99
    int tdLevel = 1;                 // TD  0..99
    int temperatureCompensation = 1; // TF  0, 1
    int fps = 15;                    // F   5, 10, 15, 20, 25, 30
    int streamType = 0;              // S   0 depth, 1 infrared, 2 depth and infrared
    std::map<int, int> sensorRegisters;  // K
    int reboots = 0;                 // RST
};

// What the firmware can be told to do wrong, for the next requests.
enum class SolenMisbehaviour {
    ErrReply,    // "ERR:BUSY"
    FailReply,   // the right answer with ",FAIL" after it
    EmptyReply,  // a lone zero byte
    Silence,     // no answer at all
    LongReply,   // the right answer padded to 160 characters
    SplitReply,  // the right answer in two pieces, which reach the host in two reads
};

// One answer: the pieces the device sends one after the other (none: silence).
struct SolenAnswer {
    std::vector<std::vector<uint8_t>> pieces;
};

class SolenFirmware {
public:
    explicit SolenFirmware(const SolenSettings& settings = SolenSettings());

    // Bytes from the host; the answers of the requests they complete, in order.
    std::vector<SolenAnswer> receive(const uint8_t* data, size_t length);

    SolenSettings settings() const;
    void setSettings(const SolenSettings& settings);
    // Every request received, each with its terminating zero byte.
    std::vector<std::string> requests() const;
    void clearRequests();
    // The next `count` requests misbehave (count < 0: until behave()).
    void misbehave(SolenMisbehaviour what, int count = 1);
    void behave();

private:
    std::string answerText(const std::string& request);
    std::string writeSetting(const std::string& key, const std::string& value);
    std::string readSetting(const std::string& key) const;
    SolenAnswer shape(std::string text);

    mutable std::mutex m_mutex;
    SolenSettings m_settings;
    std::vector<std::string> m_requests;
    std::string m_partial;  // bytes of a request whose zero has not arrived yet
    SolenMisbehaviour m_misbehaviour = SolenMisbehaviour::ErrReply;
    int m_misbehaving = 0;  // requests left to misbehave; negative: until behave()
};

}  // namespace orrindale::emulator
