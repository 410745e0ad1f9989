// The Fl30c's extension-unit commands through plain libusb: the bytes on the wire, the
// replies, kept settings, and the misbehaviours a test can ask for.
#include <gtest/gtest.h>
#include <libusb.h>

#include <cstring>
#include <string>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"

using namespace orrindale::emulator;

namespace {

class Fl30cCommandTest : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        m_camera = bed().addFl30c(UsbLocation(1, {3}, 7));
        ASSERT_NE(m_camera, nullptr);
        ASSERT_EQ(libusb_init(&m_context), 0);
        m_handle = libusb_open_device_with_vid_pid(m_context, 0x3482, 0x6723);
        ASSERT_NE(m_handle, nullptr);
        m_camera->clearCommandRecord();
    }
    void TearDown() override
    {
        if (m_handle != nullptr) libusb_close(m_handle);
        if (m_context != nullptr) libusb_exit(m_context);
        EmulatedDeviceTest::TearDown();
    }
    int write(uint8_t code, const std::string& text, int length = 64)
    {
        uint8_t payload[64] = {};
        std::memcpy(payload, text.data(), text.size());
        return libusb_control_transfer(m_handle, 0x21, code, 0x0100, 0x0A00, payload, uint16_t(length), 3000);
    }
    // Reply text after the echo byte; "" when the read failed.
    std::string read(uint8_t code, uint8_t* echo = nullptr)
    {
        uint8_t reply[64];
        std::memset(reply, 0xEE, sizeof reply);
        if (libusb_control_transfer(m_handle, 0xA1, code, 0x0100, 0x0A00, reply, 64, 1000) != 64) return "";
        if (echo != nullptr) *echo = reply[0];
        return std::string(reinterpret_cast<char*>(reply + 1), strnlen(reinterpret_cast<char*>(reply + 1), 63));
    }

    EmulatedFl30c* m_camera = nullptr;
    libusb_context* m_context = nullptr;
    libusb_device_handle* m_handle = nullptr;
};

TEST_F(Fl30cCommandTest, WriteAndReadRoundTripWithTheBytesOnTheWire)
{
    ASSERT_EQ(write(0x24, "7"), 64);
    uint8_t echo = 0;
    EXPECT_EQ(read(0x24, &echo), "7");
    EXPECT_EQ(echo, 0x24);
    EXPECT_EQ(m_camera->settings().confidenceLevel, 7);

    const auto record = m_camera->commandRecord();
    ASSERT_EQ(record.size(), 2u);
    EXPECT_EQ(record[0].setup.requestType, 0x21);
    EXPECT_EQ(record[0].setup.request, 0x24);
    EXPECT_EQ(record[0].setup.value, 0x0100);
    EXPECT_EQ(record[0].setup.index, 0x0A00);
    EXPECT_EQ(record[0].setup.length, 64);
    std::vector<uint8_t> sent(64, 0);
    sent[0] = '7';
    EXPECT_EQ(record[0].data, sent);
    EXPECT_EQ(record[1].setup.requestType, 0xA1);
    ASSERT_EQ(record[1].data.size(), 64u);
    EXPECT_EQ(record[1].data[0], 0x24);
    EXPECT_EQ(record[1].data[1], '7');
    EXPECT_EQ(record[1].data[2], 0);
}

TEST_F(Fl30cCommandTest, EverySettingIsKeptAndReadBack)
{
    const struct {
        uint8_t code;
        const char* text;
    } settings[] = {{0x22, "1500"}, {0x23, "0"}, {0x36, "9"}, {0x48, "0"}, {0x51, "3"}, {0x52, "4"}, {0x54, "30"}, {0x20, "2"}};
    for (const auto& s : settings) {
        ASSERT_EQ(write(s.code, s.text), 64) << int(s.code);
        EXPECT_EQ(read(s.code), s.text) << int(s.code);
    }
    const Fl30cSettings now = m_camera->settings();
    EXPECT_EQ(now.lightingTime, 1500);
    EXPECT_EQ(now.aeMode, 0);
    EXPECT_EQ(now.currentIntensity, 9);
    EXPECT_EQ(now.temperatureDrift, 0);
    EXPECT_EQ(now.temporalDenoise, 3);
    EXPECT_EQ(now.spatialDenoise, 4);
    EXPECT_EQ(now.frameRate, 30);
    EXPECT_EQ(now.streamMode, Fl30cStreamMode::Alternate);

    EXPECT_EQ(read(0x27), "FL30C:V1.0.8:H01:20241021");
    EXPECT_EQ(read(0x28), "HX2.1.7");
    EXPECT_EQ(read(0x29), "SN=FL30C0001");
    EXPECT_EQ(read(0x26), "41.25");
    EXPECT_EQ(read(0x2C), "38.50");
    EXPECT_EQ(read(0x37), "45.75");
    ASSERT_EQ(write(0x29, "AB12"), 64);
    EXPECT_EQ(read(0x29), "SN=AB12");
    m_camera->setTemperature(1, 52.5f);
    m_camera->setFirmwareVersion("FL30C:V1.1.0:001:20250101");
    EXPECT_EQ(read(0x2C), "52.50");
    EXPECT_EQ(read(0x27), "FL30C:V1.1.0:001:20250101");
    EXPECT_EQ(m_camera->mjpegSize(), std::make_pair(1280, 720));

    uint8_t zeros[64] = {};
    EXPECT_EQ(libusb_control_transfer(m_handle, 0x21, 0x33, 0x0100, 0x0A00, zeros, 64, 1000), 64);
    EXPECT_EQ(m_camera->settings().reboots, 1);
}

TEST_F(Fl30cCommandTest, GainIsTwoRegisterWritesAndReadsAsItsNumber)
{
    const std::string coarse = "S=C0,R2=3e08,D=03";
    const std::string fine = "S=C0,R2=3e09,D=20";
    ASSERT_EQ(write(0x47, coarse, int(coarse.size()) + 1), 18);
    ASSERT_EQ(write(0x47, fine, int(fine.size()) + 1), 18);
    EXPECT_EQ(read(0x47), "1");
    ASSERT_EQ(write(0x47, "S=C0,R2=3e08,D=3f", 18), 18);
    ASSERT_EQ(write(0x47, "S=C0,R2=3e09,D=3e", 18), 18);
    EXPECT_EQ(read(0x47), "28");
    ASSERT_EQ(write(0x47, "S=C0,R2=3e09,D=21", 18), 18);  // no gain has (3f, 21)
    EXPECT_EQ(read(0x47), "0");
    EXPECT_EQ(write(0x47, "S=C0,R2=3e0a,D=21", 18), LIBUSB_ERROR_PIPE);
    const auto record = m_camera->commandRecord();
    ASSERT_GE(record.size(), 2u);
    EXPECT_EQ(record[0].setup.length, 18);
    EXPECT_EQ(std::string(record[0].data.begin(), record[0].data.end() - 1), coarse);
    EXPECT_EQ(record[0].data.back(), 0);
    for (int gain = 1; gain <= 28; ++gain) {
        const auto pair = Fl30cCommandSet::registersOf(gain);
        ASSERT_TRUE(pair.has_value());
        EXPECT_EQ(Fl30cCommandSet::gainOf(pair->first, pair->second), gain);
    }
    EXPECT_FALSE(Fl30cCommandSet::registersOf(0).has_value());
    EXPECT_FALSE(Fl30cCommandSet::registersOf(29).has_value());
}

TEST_F(Fl30cCommandTest, BadRequestsStall)
{
    EXPECT_EQ(write(0x54, "fast"), LIBUSB_ERROR_PIPE);    // not a number
    EXPECT_EQ(write(0x54, "0"), LIBUSB_ERROR_PIPE);       // no such rate
    EXPECT_EQ(write(0x27, "1"), LIBUSB_ERROR_PIPE);       // read-only
    EXPECT_EQ(read(0x33), "");                            // write-only
    EXPECT_EQ(read(0x99), "");                            // unknown
    uint8_t reply[64];
    EXPECT_EQ(libusb_control_transfer(m_handle, 0xA1, 0x24, 0x0200, 0x0A00, reply, 64, 1000), LIBUSB_ERROR_PIPE);
    EXPECT_EQ(m_camera->settings().frameRate, 15);
}

TEST_F(Fl30cCommandTest, TestsCanMakeCommandsMisbehave)
{
    m_camera->setWrongEcho(0x29, 0x30);
    uint8_t echo = 0;
    EXPECT_EQ(read(0x29, &echo), "SN=FL30C0001");
    EXPECT_EQ(echo, 0x30);
    m_camera->clearWrongEchoes();
    EXPECT_EQ(read(0x29, &echo), "SN=FL30C0001");
    EXPECT_EQ(echo, 0x29);

    m_camera->stallCommand(0x27);
    EXPECT_EQ(read(0x27), "");
    EXPECT_EQ(read(0x28), "HX2.1.7");
    m_camera->clearCommandFaults();
    m_camera->ignoreCommand(0x54);
    uint8_t payload[64] = {'3', '0'};
    EXPECT_EQ(libusb_control_transfer(m_handle, 0x21, 0x54, 0x0100, 0x0A00, payload, 64, 200), LIBUSB_ERROR_TIMEOUT);
    m_camera->clearCommandFaults();
    EXPECT_EQ(read(0x27), "FL30C:V1.0.8:H01:20241021");
}

TEST(Fl30cFirmware, ThirdFieldSelectsTheMjpegSize)
{
    using P = std::pair<int, int>;
    EXPECT_EQ(Fl30cCommandSet::mjpegSizeOf("FL30C:V1.0.8:H01:20241021"), P(640, 480));
    EXPECT_EQ(Fl30cCommandSet::mjpegSizeOf("FL30C:V1.0.8:L02"), P(640, 480));
    EXPECT_EQ(Fl30cCommandSet::mjpegSizeOf("FL30C:V1.0.8:H03:x"), P(640, 360));
    EXPECT_EQ(Fl30cCommandSet::mjpegSizeOf("FL30C:V1.0.8:L04x:x"), P(640, 360));
    EXPECT_EQ(Fl30cCommandSet::mjpegSizeOf("FL30C:V1.0.8:001:x"), P(1280, 720));
    EXPECT_FALSE(Fl30cCommandSet::mjpegSizeOf("FL30C:V1.0.8").has_value());
    EXPECT_FALSE(Fl30cCommandSet::mjpegSizeOf("FL30C:V1.0.8:H09:x").has_value());
}

}  // namespace
