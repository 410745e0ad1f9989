#include <fstream>
#include <sys/stat.h>

#include "EmulatedDeviceTest.h"
#include "LogCapture.h"
#include "UsbCameraList.h"

using namespace orrindale::emulator;

namespace {

class NodeLookupTest : public EmulatedDeviceTest {
protected:
    // A tty's sysfs entry as the preload shows it under /sys.
    void tty(const std::string& name, const std::string& modalias)
    {
        std::string dir = bed().rootDir() + "/sys/class/tty/" + name + "/device";
        for (size_t slash = bed().rootDir().size() + 1; slash != std::string::npos; slash = dir.find('/', slash + 1))
            mkdir(dir.substr(0, slash).c_str(), 0755);
        mkdir(dir.c_str(), 0755);
        std::ofstream(dir + "/modalias") << modalias << "\n";
    }
};

}  // namespace

TEST_F(NodeLookupTest, SerialNodeIdentifiersComeFromTheTtyModaliasAndBadNodesAreNamed)
{
    tty("ttyACM0", "usb:v2207p0016d0100dc02dsc00dp00ic02isc02ip01in00");
    int vid = 0, pid = 0;
    EXPECT_EQ(getDevTtyVidPidByDeviceNode("/dev/ttyACM0", &vid, &pid), 0);
    EXPECT_EQ(vid, 0x2207);
    EXPECT_EQ(pid, 0x0016);

    tty("ttyS1", "platform:serial8250");
    tty("ttyACM1", "usb:vXYZWp0016");
    tty("ttyACM2", "usb:v1A86pQQ");
    const std::pair<const char*, const char*> bad[] = {{"/dev/ttyS1", "/dev/ttyS1 is not valid!"},
                                                       {"/dev/ttyACM1", "/dev/ttyACM1 failed to read vid!"},
                                                       {"/dev/ttyACM2", "/dev/ttyACM2 failed to read pid!"},
                                                       {"/dev/", "/dev/ is not valid!"}};
    for (const auto& [node, message] : bad) {
        orrtest::StdoutCapture out;
        EXPECT_LT(getDevTtyVidPidByDeviceNode(node, &vid, &pid), 0);
        EXPECT_EQ(orrtest::countLogLines(out.text(), "ERROR", "UsbCameraList", "getDevTtyVidPidByDeviceNode", message), 1)
            << node;
    }
    EXPECT_EQ(vid, 0x2207) << "untouched on failure";
}

TEST_F(NodeLookupTest, UdevPropertyOfADeviceNode)
{
    auto* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(getNodeInfo("/dev/bus/usb/001/005", "DEVNAME"), "/dev/bus/usb/001/005");
    EXPECT_EQ(getNodeInfo("/dev/bus/usb/001/005", "NO_SUCH_PROPERTY"), "");
}
