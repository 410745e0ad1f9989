#include "EmulatedTty.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <thread>

#include "EmulatedUsbDevice.h"
#include "EmulatorLog.h"
#include "TestBedCore.h"
#include "UsbDeviceModel.h"

namespace orrindale::emulator {

namespace {

constexpr int kTtyMajor = 188;  // the kernel's USB serial ttys

// The kernel's modalias of interface 0, from the device and configuration descriptors.
std::string interfaceModalias(const std::vector<uint8_t>& d)
{
    if (d.size() < 18 + 9 + 9) return {};
    const uint8_t* i = d.data() + 18 + 9;
    char text[96];
    std::snprintf(text, sizeof text, "usb:v%04Xp%04Xd%04Xdc%02Xdsc%02Xdp%02Xic%02Xisc%02Xip%02Xin%02X",
                  d[8] | (d[9] << 8), d[10] | (d[11] << 8), d[12] | (d[13] << 8), d[4], d[5], d[6], i[5], i[6], i[7],
                  i[2]);
    return text;
}

void closeFd(int& fd)
{
    if (fd >= 0) ::close(fd);
    fd = -1;
}

}  // namespace

class EmulatedTty::Impl {
public:
    Impl(TestBedCore& bed, EmulatedUsbDevice& device, Input input) : bed(bed), device(device), input(std::move(input))
    {
    }

    // After each plug-in: the interface and tty records, the terminal and its server.
    void add()
    {
        const int index = bed.takeTtyIndex();
        {
            std::lock_guard<std::mutex> lock(nameMutex);
            name = "ttyUSB" + std::to_string(index);
        }
        const std::string devicePath = device.sysfsPath().substr(4);  // without "/sys"
        const std::string sysfsName = devicePath.substr(devicePath.rfind('/') + 1);
        const std::vector<uint8_t> descriptors = device.model().descriptors();
        const std::string modalias = interfaceModalias(descriptors);
        interfacePath = devicePath + "/" + sysfsName + ":1.0";
        ttyPath = interfacePath + "/tty/" + name;
        char ids[64];
        std::snprintf(ids, sizeof ids, "E: ID_VENDOR_ID=%04x\nE: ID_MODEL_ID=%04x\n", descriptors[8] | (descriptors[9] << 8),
                      descriptors[10] | (descriptors[11] << 8));
        const std::string record = "P: " + interfacePath +
                                   "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\nE: DRIVER=usbserial_generic\n"
                                   "E: MODALIAS=" + modalias + "\nA: modalias=" + modalias +
                                   "\\n\nA: bInterfaceNumber=00\\n\nA: bAlternateSetting= 0\\n\n\n"
                                   "P: " + ttyPath + "\nN: " + name + "\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/" + name +
                                   "\nE: ID_BUS=usb\n" + ids + "E: MAJOR=" + std::to_string(kTtyMajor) +
                                   "\nE: MINOR=" + std::to_string(index) + "\nA: dev=" + std::to_string(kTtyMajor) + ":" +
                                   std::to_string(index) + "\\n\nL: device=../../../" + sysfsName + ":1.0\n\n";
        GError* error = nullptr;
        if (modalias.empty() || !umockdev_testbed_add_from_string(bed.testbed(), record.c_str(), &error)) {
            emulatorLog("adding %s failed: %s", ttyPath.c_str(), error != nullptr ? error->message : "no interface");
            g_clear_error(&error);
            return;
        }
        // The test bed owns the terminal's master; ours is a copy that we close on hang-up.
        owned = umockdev_testbed_get_dev_fd(bed.testbed(), ("/dev/" + name).c_str());
        master = owned >= 0 ? fcntl(owned, F_DUPFD_CLOEXEC, 0) : -1;
        // Our own end of the terminal: while no host has it open the master still waits for
        // data instead of reporting a hang-up. Taken from the master, not opened by path, so
        // that the preload does not take it for an emulated node.
        if (master >= 0) holder = ioctl(master, TIOCGPTPEER, O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (master < 0 || holder < 0 || pipe2(stop, O_CLOEXEC) != 0) {
            emulatorLog("the terminal of %s cannot be served", name.c_str());
            hangUp();
            return;
        }
        thread = std::thread([this] { serve(); });
    }

    // Before the device leaves: the server stops, the line hangs up, the records go.
    void leave()
    {
        char pts[64] = "";
        if (master < 0 || ptsname_r(master, pts, sizeof pts) != 0) pts[0] = '\0';
        hangUp();
        // The test bed keeps its master open for good: put an empty pipe in its place, so
        // that the last master closes and the host's end sees the hang-up.
        int spare[2];
        if (owned >= 0 && pipe2(spare, O_CLOEXEC) == 0) {
            dup3(spare[0], owned, O_CLOEXEC);
            closeFd(spare[0]);
            closeFd(spare[1]);
        }
        owned = -1;
        if (!ttyPath.empty()) {
            umockdev_testbed_remove_device(bed.testbed(), ("/sys" + ttyPath).c_str());
            umockdev_testbed_remove_device(bed.testbed(), ("/sys" + interfacePath).c_str());
            // umockdev leaves a terminal's node and its entry in the terminal map behind, and
            // would refuse to make them again at the next plug-in.
            ::unlink((bed.rootDir() + "/dev/" + name).c_str());
            std::string mapped = pts;
            std::replace(mapped.begin(), mapped.end(), '/', '_');
            if (!mapped.empty()) ::unlink((bed.rootDir() + "/dev/.ptymap/" + mapped).c_str());
            ttyPath.clear();
        }
    }

    void hangUp()
    {
        if (thread.joinable()) {
            const char byte = 0;
            if (::write(stop[1], &byte, 1) < 0) emulatorLog("stopping the server of %s failed", name.c_str());
            thread.join();
        }
        closeFd(stop[0]);
        closeFd(stop[1]);
        closeFd(holder);
        closeFd(master);
    }

    void serve()
    {
        std::deque<Output> queue;
        for (;;) {
            // A piece that waits for the host's read is looked at again every few milliseconds.
            const int timeoutMs = queue.empty() ? -1 : 5;
            pollfd fds[2] = {{master, POLLIN, 0}, {stop[0], POLLIN, 0}};
            if (poll(fds, 2, timeoutMs) < 0 && errno != EINTR) break;
            if (fds[1].revents != 0) break;
            if (fds[0].revents & POLLIN) {
                uint8_t buffer[4096];
                const ssize_t n = ::read(master, buffer, sizeof buffer);
                if (n > 0)
                    for (Output& output : input(buffer, size_t(n))) queue.push_back(std::move(output));
            }
            while (!queue.empty() && (!queue.front().afterHostRead || unread() == 0)) {
                const std::vector<uint8_t>& bytes = queue.front().bytes;
                if (!bytes.empty() && ::write(master, bytes.data(), bytes.size()) != ssize_t(bytes.size()))
                    emulatorLog("writing to %s failed", name.c_str());
                queue.pop_front();
                // The kernel moves written bytes to the host's side a moment later: wait for
                // them there, so that the next piece waits for the host's read, not for that.
                if (!queue.empty() && queue.front().afterHostRead)
                    for (int i = 0; i < 1000 && unread() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            idle = queue.empty();
        }
    }

    // Bytes in the terminal's input queue (shared by every open end of it) not read yet.
    int unread() const
    {
        int count = 0;
        return ioctl(holder, FIONREAD, &count) == 0 ? count : 0;
    }

    TestBedCore& bed;
    EmulatedUsbDevice& device;
    mutable std::mutex nameMutex;  // the name changes at a plug-in
    std::string name;
    Input input;
    std::string interfacePath;  // below /sys
    std::string ttyPath;
    int master = -1;
    int owned = -1;
    int holder = -1;
    int stop[2] = {-1, -1};
    std::thread thread;
    std::atomic<bool> idle{true};
};

EmulatedTty::EmulatedTty(TestBedCore& bed, EmulatedUsbDevice& device, Input input)
    : m_impl(std::make_unique<Impl>(bed, device, std::move(input)))
{
    Impl* impl = m_impl.get();
    device.addChildHooks([impl] { impl->add(); }, [impl] { impl->leave(); });
}

EmulatedTty::~EmulatedTty() { m_impl->hangUp(); }

std::string EmulatedTty::name() const
{
    std::lock_guard<std::mutex> lock(m_impl->nameMutex);
    return m_impl->name;
}
std::string EmulatedTty::node() const { return "/dev/" + name(); }
bool EmulatedTty::idle() const { return m_impl->idle; }

}  // namespace orrindale::emulator
