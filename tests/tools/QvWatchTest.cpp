// qv watch as a person runs it: cameras plugged, unplugged, appearing on the network and
// vanishing from it, then Ctrl-C. The cameras live in the test's process and network
// namespace; qv runs beside them.
#include <csignal>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "EmulatedLan.h"
#include "NetworkNamespace.h"
#include "QvProcess.h"

using namespace orrindale::emulator;

namespace {

class QvWatchTest : public EmulatedDeviceTest {};

}  // namespace

TEST_F(QvWatchTest, OneLinePerArrivalAndDepartureUntilCtrlC)
{
    ASSERT_TRUE(NetworkNamespace::enterFresh());
    auto lan = EmulatedLan::create(1);
    ASSERT_TRUE(lan);
    EmulatedFl30c* usb = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(usb, nullptr);

    qvtest::Background watch({QV_BINARY, "watch"});
    ASSERT_TRUE(watch.waitForError("watching USB and network cameras; Ctrl-C ends"));
    const std::string plugged = "arrived USB      3482:6723 bus 1 address 5 port path 4";
    ASSERT_TRUE(watch.waitForOutput(plugged));
    EmulatedNetCamera* net = lan->addCamera();
    ASSERT_NE(net, nullptr);
    const std::string appeared = "arrived network  10.77.1.11 port 8000  Fl30cn RGB-D (network)";
    ASSERT_TRUE(watch.waitForOutput(appeared));
    ASSERT_TRUE(usb->device()->unplug());
    const std::string unplugged = "left    USB      3482:6723 bus 1 address 5 port path 4";
    ASSERT_TRUE(watch.waitForOutput(unplugged));
    net->setAnswering(false);
    const std::string vanished = "left    network  10.77.1.11 port 8000  Fl30cn RGB-D (network)";
    ASSERT_TRUE(watch.waitForOutput(vanished));
    watch.signal(SIGINT);
    const qvtest::Outcome run = watch.finish();
    EXPECT_EQ(run.status, 0) << run.both();
    const std::vector<std::string> lines = qvtest::lines(run.out);
    ASSERT_EQ(lines.size(), 4u) << run.both();
    const std::vector<std::string> expected = {plugged, appeared, unplugged, vanished};
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(lines[i].substr(9), expected[i]) << run.both();  // after "HH:MM:SS "
}
