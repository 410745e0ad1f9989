// The generic USB device emulation as unmodified libusb sees it: enumeration and
// topology, control requests and their faults, bulk transfers, claims, unplug/re-plug.
#include <gtest/gtest.h>
#include <libusb.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "Eventually.h"
#include "PlainUsbDevice.h"

using namespace orrindale::emulator;

namespace {

PlainUsbDeviceConfig plainConfig(uint16_t vid, uint16_t pid, std::string serial = {})
{
    PlainUsbDeviceConfig config;
    config.vendorId = vid;
    config.productId = pid;
    config.manufacturer = "Maker";
    config.product = "Gadget";
    config.serialNumber = std::move(serial);
    config.bulkEndpoints = {0x81, 0x02};
    return config;
}

struct FoundDevice {
    int bus = -1;
    int address = -1;
    int port = -1;
    std::string path;
    int pathResult = 0;
    uint16_t parentVid = 0;
};

class UsbDeviceTest : public EmulatedDeviceTest {
protected:
    void TearDown() override
    {
        if (m_handle != nullptr) libusb_close(m_handle);
        if (m_context != nullptr) libusb_exit(m_context);
        EmulatedDeviceTest::TearDown();
    }
    libusb_context* context()
    {
        if (m_context == nullptr) {
            EXPECT_EQ(libusb_init(&m_context), 0);
        }
        return m_context;
    }
    libusb_device_handle* open(uint16_t vid, uint16_t pid)
    {
        m_handle = libusb_open_device_with_vid_pid(context(), vid, pid);
        return m_handle;
    }
    std::vector<FoundDevice> find(uint16_t vid, uint16_t pid)
    {
        std::vector<FoundDevice> found;
        libusb_device** list = nullptr;
        const ssize_t count = libusb_get_device_list(context(), &list);
        for (ssize_t i = 0; i < count; ++i) {
            libusb_device_descriptor descriptor;
            libusb_get_device_descriptor(list[i], &descriptor);
            if (descriptor.idVendor != vid || descriptor.idProduct != pid) continue;
            FoundDevice d;
            d.bus = libusb_get_bus_number(list[i]);
            d.address = libusb_get_device_address(list[i]);
            d.port = libusb_get_port_number(list[i]);
            uint8_t ports[16];
            d.pathResult = libusb_get_port_numbers(list[i], ports, sizeof ports);
            for (int k = 0; k < d.pathResult; ++k) d.path += (k ? "." : "") + std::to_string(ports[k]);
            if (libusb_device* parent = libusb_get_parent(list[i])) {
                libusb_get_device_descriptor(parent, &descriptor);
                d.parentVid = descriptor.idVendor;
            }
            found.push_back(d);
        }
        if (count >= 0) libusb_free_device_list(list, 1);
        return found;
    }

    libusb_context* m_context = nullptr;
    libusb_device_handle* m_handle = nullptr;
};

TEST_F(UsbDeviceTest, DevicesAppearWhereTheTestPutThem)
{
    ASSERT_NE(bed().addPlainDevice(UsbLocation(1, {4}, 5), plainConfig(0x3482, 0x6723)), nullptr);
    ASSERT_NE(bed().addPlainDevice(UsbLocation(1, {2, 3}, 9), plainConfig(0x3482, 0x6723)), nullptr);
    ASSERT_NE(bed().addPlainDevice(UsbLocation(3, {1, 4, 2}, 7), plainConfig(0x3482, 0x6723)), nullptr);
    ASSERT_NE(bed().addPlainDevice(UsbLocation(2, {6}), plainConfig(0x1234, 0x5678)), nullptr);
    UsbLocation hidden(1, {3}, 6);
    hidden.hiddenPortPath = true;  // listed without a path
    ASSERT_NE(bed().addPlainDevice(hidden, plainConfig(0x3482, 0x6723)), nullptr);

    const auto cameras = find(0x3482, 0x6723);
    ASSERT_EQ(cameras.size(), 4u);
    auto at = [&](int bus, int address) {
        for (const auto& d : cameras)
            if (d.bus == bus && d.address == address) return d;
        return FoundDevice{};
    };
    EXPECT_EQ(at(1, 5).path, "4");
    EXPECT_EQ(at(1, 5).port, 4);
    EXPECT_EQ(at(1, 5).parentVid, 0x1d6b);  // the root hub
    EXPECT_EQ(at(1, 9).path, "2.3");
    EXPECT_EQ(at(1, 9).port, 3);
    EXPECT_EQ(at(1, 9).parentVid, 0x05e3);  // the hub the test bed put at 1-2
    EXPECT_EQ(at(3, 7).path, "1.4.2");
    EXPECT_EQ(at(1, 6).pathResult, 0);
    EXPECT_EQ(at(1, 6).port, 0);
    const auto other = find(0x1234, 0x5678);
    ASSERT_EQ(other.size(), 1u);
    EXPECT_EQ(other[0].bus, 2);
    EXPECT_EQ(other[0].address, 2);  // the lowest free address
    EXPECT_EQ(find(0x1d6b, 0x0002).size(), 3u);  // one root hub per bus
}

TEST_F(UsbDeviceTest, PlacesAndAddressesAreNotSharedAndLimitsAreChecked)
{
    ASSERT_NE(bed().addPlainDevice(UsbLocation(1, {4}, 5), plainConfig(1, 1)), nullptr);
    EXPECT_EQ(bed().addPlainDevice(UsbLocation(1, {4}, 6), plainConfig(1, 2)), nullptr);   // place taken
    EXPECT_EQ(bed().addPlainDevice(UsbLocation(1, {3}, 5), plainConfig(1, 3)), nullptr);   // address taken
    EXPECT_EQ(bed().addPlainDevice(UsbLocation(1, {4, 1}, 8), plainConfig(1, 4)), nullptr);  // 1-4 is no hub
    EXPECT_EQ(bed().addPlainDevice(UsbLocation(0, {1}), plainConfig(1, 5)), nullptr);
    EXPECT_EQ(bed().addPlainDevice(UsbLocation(1, {1, 2, 3, 4, 5, 6, 7, 8}), plainConfig(1, 6)), nullptr);
    EXPECT_FALSE(UsbLocation::parse("1-").has_value());
    const auto parsed = UsbLocation::parse("2-1.4@9");
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->bus, 2);
    EXPECT_EQ(parsed->ports, (std::vector<int>{1, 4}));
    EXPECT_EQ(parsed->address, 9);
}

TEST_F(UsbDeviceTest, StringDescriptorsComeFromTheModel)
{
    ASSERT_NE(bed().addPlainDevice(UsbLocation(1, {1}, 4), plainConfig(0x0c45, 0x636d, "SN42")), nullptr);
    auto config = plainConfig(0x0c45, 0x636e);
    ASSERT_NE(bed().addPlainDevice(UsbLocation(1, {2}, 5), config), nullptr);
    libusb_device_handle* handle = open(0x0c45, 0x636d);
    ASSERT_NE(handle, nullptr);
    unsigned char text[64];
    EXPECT_EQ(libusb_get_string_descriptor_ascii(handle, 3, text, sizeof text), 4);
    EXPECT_STREQ(reinterpret_cast<char*>(text), "SN42");
    EXPECT_EQ(libusb_get_string_descriptor_ascii(handle, 2, text, sizeof text), 6);
    EXPECT_STREQ(reinterpret_cast<char*>(text), "Gadget");
    EXPECT_EQ(libusb_get_string_descriptor_ascii(handle, 7, text, sizeof text), LIBUSB_ERROR_PIPE);

    libusb_device_descriptor descriptor;
    libusb_get_device_descriptor(libusb_get_device(handle), &descriptor);
    EXPECT_EQ(descriptor.iSerialNumber, 3);
    libusb_device_handle* noSerial = libusb_open_device_with_vid_pid(context(), 0x0c45, 0x636e);
    ASSERT_NE(noSerial, nullptr);
    libusb_get_device_descriptor(libusb_get_device(noSerial), &descriptor);
    EXPECT_EQ(descriptor.iSerialNumber, 0);
    libusb_close(noSerial);
}

TEST_F(UsbDeviceTest, ControlRequestsAreRecordedAndCanBeMadeToFail)
{
    EmulatedUsbDevice* device = bed().addDevice(UsbLocation(1, {4}, 5), std::make_unique<PlainUsbDevice>(plainConfig(0x3482, 0x6723)));
    ASSERT_NE(device, nullptr);
    libusb_device_handle* handle = open(0x3482, 0x6723);
    ASSERT_NE(handle, nullptr);
    device->clearControlRecord();

    uint8_t payload[64] = {'4', '2'};
    // A plain device has no class requests: STALL.
    EXPECT_EQ(libusb_control_transfer(handle, 0x21, 0x54, 0x0100, 0x0A00, payload, 64, 1000), LIBUSB_ERROR_PIPE);
    EXPECT_EQ(libusb_clear_halt(handle, 0x81), 0);
    auto record = device->controlRecord();
    ASSERT_EQ(record.size(), 2u);
    EXPECT_EQ(record[0].setup.requestType, 0x21);
    EXPECT_EQ(record[0].setup.request, 0x54);
    EXPECT_EQ(record[0].setup.value, 0x0100);
    EXPECT_EQ(record[0].setup.index, 0x0A00);
    EXPECT_EQ(record[0].setup.length, 64);
    ASSERT_EQ(record[0].data.size(), 64u);
    EXPECT_EQ(record[0].data[0], '4');
    EXPECT_EQ(record[0].data[1], '2');
    EXPECT_EQ(record[0].result, kTransferStall);
    // CLEAR_HALT travels as CLEAR_FEATURE(ENDPOINT_HALT) to the endpoint.
    EXPECT_EQ(record[1].setup.requestType, 0x02);
    EXPECT_EQ(record[1].setup.request, 0x01);
    EXPECT_EQ(record[1].setup.value, 0);
    EXPECT_EQ(record[1].setup.index, 0x81);

    // A standard request made to STALL, then left unanswered until the host gives up.
    unsigned char text[64];
    ControlMatch strings;
    strings.request = 0x06;
    strings.value = 0x0302;
    device->setControlFault(strings, ControlFault::Stall);
    EXPECT_EQ(libusb_get_string_descriptor_ascii(handle, 2, text, sizeof text), LIBUSB_ERROR_PIPE);
    device->clearControlFaults();
    device->setControlFault(strings, ControlFault::NoResponse);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(libusb_get_string_descriptor(handle, 2, 0x0409, text, sizeof text), LIBUSB_ERROR_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    device->clearControlFaults();
    EXPECT_EQ(libusb_get_string_descriptor_ascii(handle, 2, text, sizeof text), 6);
}

TEST_F(UsbDeviceTest, BulkDataFlowsBothWaysAndHaltsUntilCleared)
{
    PlainUsbDevice* device = bed().addPlainDevice(UsbLocation(1, {4}, 5), plainConfig(0x3482, 0x6723));
    ASSERT_NE(device, nullptr);
    libusb_device_handle* handle = open(0x3482, 0x6723);
    ASSERT_NE(handle, nullptr);
    ASSERT_EQ(libusb_claim_interface(handle, 0), 0);

    std::vector<uint8_t> big(131072);
    for (size_t i = 0; i < big.size(); ++i) big[i] = uint8_t(i * 7 + (i >> 9));
    device->queueIn(0x81, big);
    std::vector<uint8_t> in(big.size() + 512);
    int got = 0;
    ASSERT_EQ(libusb_bulk_transfer(handle, 0x81, in.data(), int(in.size()), &got, 1000), 0);
    ASSERT_EQ(got, int(big.size()));
    EXPECT_EQ(std::memcmp(in.data(), big.data(), big.size()), 0);

    // Nothing queued: the transfer stays pending until its timeout.
    EXPECT_EQ(libusb_bulk_transfer(handle, 0x81, in.data(), 512, &got, 100), LIBUSB_ERROR_TIMEOUT);

    uint8_t out[5] = {1, 2, 3, 4, 5};
    ASSERT_EQ(libusb_bulk_transfer(handle, 0x02, out, 5, &got, 1000), 0);
    EXPECT_EQ(got, 5);
    const auto sent = device->takeOut(0x02);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0], (std::vector<uint8_t>{1, 2, 3, 4, 5}));

    device->device()->haltEndpoint(0x81);
    device->queueIn(0x81, {9});
    EXPECT_EQ(libusb_bulk_transfer(handle, 0x81, in.data(), 512, &got, 1000), LIBUSB_ERROR_PIPE);
    EXPECT_EQ(libusb_clear_halt(handle, 0x81), 0);
    ASSERT_EQ(libusb_bulk_transfer(handle, 0x81, in.data(), 512, &got, 1000), 0);
    EXPECT_EQ(got, 1);
    EXPECT_EQ(in[0], 9);
    // A host in this process is recognised and served in place after its first URB.
    const auto stats = device->device()->statistics();
    EXPECT_GE(stats.submitted, 2u);
    EXPECT_EQ(stats.servedInPlace, TestBedOptions().shareHostMemory ? stats.submitted - 1 : 0u);

    // An interface has one owner at a time.
    libusb_device_handle* second = libusb_open_device_with_vid_pid(context(), 0x3482, 0x6723);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(libusb_claim_interface(second, 0), LIBUSB_ERROR_BUSY);
    EXPECT_EQ(libusb_release_interface(handle, 0), 0);
    EXPECT_EQ(libusb_claim_interface(second, 0), 0);
    EXPECT_EQ(libusb_kernel_driver_active(second, 0), 0);
    libusb_close(second);
}

std::atomic<int> g_arrived{0};
std::atomic<int> g_left{0};
std::atomic<int> g_lastAddress{0};

int LIBUSB_CALL onHotplug(libusb_context*, libusb_device* device, libusb_hotplug_event event, void*)
{
    if (event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED) {
        g_lastAddress = libusb_get_device_address(device);
        ++g_arrived;
    } else {
        ++g_left;
    }
    return 0;
}

bool waitFor(const std::atomic<int>& value, int wanted)
{
    return orrtest::eventually([&] { return value >= wanted; });
}

TEST_F(UsbDeviceTest, UnplugEndsPendingTransfersAndHotplugSeesBothWays)
{
    PlainUsbDevice* device = bed().addPlainDevice(UsbLocation(1, {4}, 5), plainConfig(0x3482, 0x6723));
    ASSERT_NE(device, nullptr);
    g_arrived = g_left = 0;
    libusb_hotplug_callback_handle callback;
    ASSERT_EQ(libusb_hotplug_register_callback(
                  context(), LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT,
                  LIBUSB_HOTPLUG_ENUMERATE, 0x3482, 0x6723, LIBUSB_HOTPLUG_MATCH_ANY, onHotplug, nullptr, &callback),
              0);
    std::atomic<bool> stop{false};
    std::thread events([&] {
        while (!stop) {
            timeval tv{0, 20000};
            libusb_handle_events_timeout_completed(m_context, &tv, nullptr);
        }
    });
    EXPECT_TRUE(waitFor(g_arrived, 1));

    libusb_device_handle* handle = open(0x3482, 0x6723);
    ASSERT_NE(handle, nullptr);
    ASSERT_EQ(libusb_claim_interface(handle, 0), 0);
    std::atomic<int> status{-1};
    std::vector<uint8_t> buffer(16384);
    libusb_transfer* transfer = libusb_alloc_transfer(0);
    libusb_fill_bulk_transfer(
        transfer, handle, 0x81, buffer.data(), int(buffer.size()),
        [](libusb_transfer* t) { *static_cast<std::atomic<int>*>(t->user_data) = t->status; }, &status, 0);
    ASSERT_EQ(libusb_submit_transfer(transfer), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));

    ASSERT_TRUE(device->device()->unplug());
    EXPECT_FALSE(device->device()->unplug());  // already out
    EXPECT_TRUE(waitFor(g_left, 1));
    EXPECT_TRUE(waitFor(status, 0));
    EXPECT_EQ(status, LIBUSB_TRANSFER_NO_DEVICE);
    int got = 0;
    EXPECT_EQ(libusb_bulk_transfer(handle, 0x81, buffer.data(), 512, &got, 100), LIBUSB_ERROR_NO_DEVICE);
    EXPECT_EQ(libusb_open_device_with_vid_pid(m_context, 0x3482, 0x6723), nullptr);
    libusb_free_transfer(transfer);
    libusb_close(handle);
    m_handle = nullptr;

    ASSERT_TRUE(device->device()->replug(11));
    EXPECT_TRUE(waitFor(g_arrived, 2));
    EXPECT_EQ(g_lastAddress, 11);
    const auto found = find(0x3482, 0x6723);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].address, 11);
    EXPECT_EQ(found[0].path, "4");
    handle = open(0x3482, 0x6723);
    ASSERT_NE(handle, nullptr);
    device->queueIn(0x81, {7, 7});
    ASSERT_EQ(libusb_claim_interface(handle, 0), 0);
    ASSERT_EQ(libusb_bulk_transfer(handle, 0x81, buffer.data(), 512, &got, 1000), 0);
    EXPECT_EQ(got, 2);

    stop = true;
    libusb_hotplug_deregister_callback(m_context, callback);
    events.join();
}

}  // namespace
