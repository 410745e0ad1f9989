#include "EmulatedLan.h"

#include <sys/stat.h>

#include "EmulatorLog.h"

namespace orrindale::emulator {

namespace {

std::string subnet(int number) { return "10.77." + std::to_string(number) + "."; }

// The namespace of the calling thread is the machine's own (where a veth would join the real network).
bool inMachineNamespace()
{
    struct stat mine, machine;
    return stat("/proc/thread-self/ns/net", &mine) == 0 && stat("/proc/1/ns/net", &machine) == 0 &&
           mine.st_ino == machine.st_ino && mine.st_dev == machine.st_dev;
}

}  // namespace

std::unique_ptr<EmulatedLan> EmulatedLan::create(int number)
{
    if (number < 1 || number > 200) {
        emulatorLog("segment number %d is outside 1..200", number);
        return nullptr;
    }
    if (inMachineNamespace()) {
        emulatorLog("emulated network cameras join a namespace of the caller's own, not the machine's");
        return nullptr;
    }
    std::unique_ptr<NetworkNamespace> host = NetworkNamespace::ofThisThread();
    std::unique_ptr<NetworkNamespace> cameras = NetworkNamespace::create();
    if (!host || !cameras) return nullptr;
    const std::string name = "orrlan" + std::to_string(number);
    const bool ok = host->run({"ip", "link", "add", name, "type", "veth", "peer", "name", "eth0", "netns",
                               cameras->path()}) &&
                    host->run({"ip", "addr", "add", subnet(number) + "1/24", "dev", name}) &&
                    host->run({"ip", "link", "set", name, "up"}) && cameras->run({"ip", "link", "set", "eth0", "up"});
    if (!ok) return nullptr;
    return std::unique_ptr<EmulatedLan>(new EmulatedLan(number, std::move(cameras)));
}

EmulatedLan::EmulatedLan(int number, std::unique_ptr<NetworkNamespace> cameras)
    : m_number(number), m_cameraSide(std::move(cameras))
{
}

// The cameras close their sockets first; the namespace then goes, and the veth pair with it.
EmulatedLan::~EmulatedLan() { m_cameras.clear(); }

std::string EmulatedLan::hostAddress() const { return subnet(m_number) + "1"; }

EmulatedNetCamera* EmulatedLan::addCamera(const NetCameraConfig& config)
{
    const std::string address = subnet(m_number) + std::to_string(11 + static_cast<int>(m_cameras.size()));
    if (!m_cameraSide->run({"ip", "addr", "add", address + "/24", "dev", "eth0"})) return nullptr;
    auto camera = std::make_unique<EmulatedNetCamera>(*m_cameraSide, address, config);
    if (!camera->ready()) return nullptr;
    m_cameras.push_back(std::move(camera));
    return m_cameras.back().get();
}

}  // namespace orrindale::emulator
