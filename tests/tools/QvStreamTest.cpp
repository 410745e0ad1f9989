// qv list, info and stream against cameras it emulates itself (--emulate): what a
// person sees on the terminal and what a script reads.
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <regex>
#include <string>

#include "QvProcess.h"

using qvtest::contains;
using qvtest::Outcome;
using qvtest::runProgram;
using qvtest::runQv;

namespace {

// The number a summary line gives for a camera's stream, e.g. "  depth    20 frames".
long framesOf(const std::string& summary, int camera, const std::string& stream)
{
    const std::string head = "Camera " + std::to_string(camera) + " (";
    const size_t at = summary.find(head);
    if (at == std::string::npos) return -1;
    const size_t next = summary.find("\nCamera ", at + 1);
    const std::string part = summary.substr(at, next == std::string::npos ? std::string::npos : next - at);
    std::smatch m;
    if (!std::regex_search(part, m, std::regex("\n  " + stream + " +([0-9]+) frames"))) return -1;
    return std::stol(m[1]);
}

TEST(QvStream, TwoEmulatedCamerasStreamAtOnceAndBothAreReported)
{
    const Outcome r = runQv({"stream", "--emulate", "fl30c,2", "--frames", "12", "--quiet"});
    ASSERT_EQ(r.status, 0) << r.both();
    for (int camera : {0, 1}) {
        // --frames 12: twelve frame groups from each camera, no more.
        EXPECT_TRUE(contains(r.out, "Camera " + std::to_string(camera) + " (Fl30c RGB-D): 12 frame groups in ")) << r.out;
        for (const char* stream : {"depth", "color", "cloud"})
            EXPECT_EQ(framesOf(r.out, camera, stream), 12) << "camera " << camera << " " << stream << "\n" << r.out;
        EXPECT_LT(framesOf(r.out, camera, "ir"), 0) << "infrared was not asked for\n" << r.out;
    }
    EXPECT_EQ(std::regex_search(r.out, std::regex("dropped transfers +[0-9]+")), true) << r.out;
    EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(callback latency +[0-9.]+ ms mean, [0-9.]+ ms max)"))) << r.out;
    EXPECT_TRUE(contains(r.out, "CPU time ")) << r.out;
    // Progress goes to standard error, one line per update off a terminal, both cameras in each.
    bool both = false;
    for (const std::string& line : qvtest::lines(r.err))
        both = both || std::regex_search(line, std::regex(R"(^cam0 [0-9]+ frames \| .*depth .* \|\|  cam1 [0-9]+ frames)"));
    EXPECT_TRUE(both) << r.err;
    // --quiet: nothing else, neither the library's log lines nor its USB libraries' remarks.
    for (const std::string& line : qvtest::lines(r.err))
        EXPECT_TRUE(std::regex_search(line, std::regex("^cam0 [0-9]+ frames"))) << line;
}

TEST(QvStream, TheChosenCameraAloneStreamsInTheChosenMode)
{
    const Outcome r = runQv({"stream", "--emulate", "fl30c,2", "--serial", "FL30C0002", "--streams", "depth",
                         "--depth", "320x240@30", "--frames", "8"});
    ASSERT_EQ(r.status, 0) << r.both();
    // Without --quiet the library's log lines go to standard error, never among the results.
    EXPECT_TRUE(contains(r.err, "[INFO]")) << r.err;
    EXPECT_FALSE(contains(r.out, "[INFO]")) << r.out;
    const int chosen = framesOf(r.out, 0, "depth") >= 0 ? 0 : 1;
    EXPECT_EQ(framesOf(r.out, chosen, "depth"), 8) << r.out;
    EXPECT_LT(framesOf(r.out, 1 - chosen, "depth"), 0) << "only one camera streams\n" << r.out;
    EXPECT_LT(framesOf(r.out, chosen, "color"), 0) << r.out;
}

TEST(QvStream, CtrlCEndsTheStreamAndTheSummaryIsStillPrinted)
{
    qvtest::Background qv({QV_BINARY, "stream", "--emulate", "fl30c", "--seconds", "100", "--quiet"});
    ASSERT_TRUE(qv.waitForError(" fps | drops")) << "no frame arrived";
    qv.signal(SIGINT);
    const Outcome r = qv.finish();
    EXPECT_EQ(r.status, 0) << r.both();
    EXPECT_GE(framesOf(r.out, 0, "depth"), 1) << r.out;
    EXPECT_TRUE(contains(r.out, "CPU time ")) << r.out;
}

TEST(QvStream, AFrameGroupTheStreamNeverReachedIsReported)
{
    const std::string dir = qvtest::scratchDirectory("qv-save-at");
    const Outcome r = runQv({"stream", "--emulate", "fl30c", "--streams", "depth", "--frames", "4", "--save", dir,
                             "--save-at", "2,50", "--quiet"});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(std::regex_search(r.out, std::regex("saved " + dir + "/cam0_frame[0-9]+_depth_raw16.png"))) << r.out;
    EXPECT_TRUE(std::regex_search(r.err, std::regex("camera 0: frame group 50 not saved: the stream ended after [0-9]+")))
        << r.both();
}

TEST(QvStream, ListGivesScriptsOneJsonRecordPerCamera)
{
    if (std::string(QV_PYTHON3).empty()) GTEST_SKIP() << "python3 is not installed (scripts/install-deps.sh --test)";
    const Outcome list = runQv({"list", "--json", "--emulate", "fl30c,2", "--quiet"});
    ASSERT_EQ(list.status, 0) << list.both();
    // An independent JSON parser reads it; the records are printed sorted by port path.
    const Outcome parsed = runProgram(
        {QV_PYTHON3, "-c",
         "import json, sys\n"
         "cameras = json.load(sys.stdin)\n"
         "for c in sorted(cameras, key=lambda c: c['port_path']):\n"
         "    print(c['model'], c['model_enum'], c['model_value'], c['attachment'], c['vid'], c['pid'], c['bus'],\n"
         "          c['port'], c['port_path'], c['serial'], c['firmware'], type(c['index']).__name__,\n"
         "          type(c['address']).__name__)\n"},
        {true, list.out});
    ASSERT_EQ(parsed.status, 0) << parsed.both() << list.out;
    EXPECT_EQ(parsed.out,
              "Fl30c RGB-D CAMERA_MODEL_FL30C 9 USB 3482 6723 1 1 1 FL30C0001 FL30C:V1.0.8:H01:20241021 int int\n"
              "Fl30c RGB-D CAMERA_MODEL_FL30C 9 USB 3482 6723 1 2 2 FL30C0002 FL30C:V1.0.8:H01:20241021 int int\n");

    const Outcome text = runQv({"list", "--emulate", "fl30c", "--quiet"});
    ASSERT_EQ(text.status, 0) << text.both();
    for (const char* line : {"Camera 0", "model            Fl30c RGB-D (CAMERA_MODEL_FL30C = 9)",
                             "attachment       USB", "USB id           3482:6723", "port / path      1 / 1",
                             "serial number    FL30C0001", "firmware         FL30C:V1.0.8:H01:20241021"})
        EXPECT_TRUE(contains(text.out, line)) << line << "\n" << text.out;
    EXPECT_TRUE(std::regex_search(text.out, std::regex(R"(bus / address    1 / [0-9]+)"))) << text.out;
}

TEST(QvStream, InfoDescribesTheCameraChosenBySerialOrPosition)
{
    const Outcome bySerial = runQv({"info", "--emulate", "fl30c,2", "--serial", "FL30C0002", "--quiet"});
    ASSERT_EQ(bySerial.status, 0) << bySerial.both();
    for (const char* line :
         {"Fl30c RGB-D (CAMERA_MODEL_FL30C = 9)", "port path 2", "serial number    FL30C0002", "depth processor  HX2.1.7",
          "depth  modes      640x480 @ 10 15 25 30", "320x240 @ 10 15 25 30", "160x120 @ 10 15 25 30 fps",
          "color  modes      640x480 @ 10 15 25 30 fps", "ir     modes      640x480 @ 15 fps",
          "depth  now        640x480 @ 15 fps", "color  now        640x480 @ 15 fps",
          "depth intrinsics fx 570.000  fy 570.000  cx 319.500  cy 239.500",
          "color intrinsics fx 610.000  fy 610.000  cx 319.500  cy 239.500", "translation      -25.000 0.500 1.500 mm",
          "temperature      depth processor  41.25 C", "temperature      projector        38.50 C",
          "temperature      image sensor     45.75 C"})
        EXPECT_TRUE(contains(bySerial.out, line)) << line << "\n" << bySerial.out;
    // A rotation of (-0.8, 1.5, 0.3) degrees: a rotation matrix close to the identity.
    std::smatch m;
    ASSERT_TRUE(std::regex_search(bySerial.out, m, std::regex(R"(rotation +\[([-0-9. ;]+)\])"))) << bySerial.out;
    EXPECT_TRUE(std::regex_match(m[1].str(), std::regex(R"(0\.99[0-9]+ [-0-9.]+ [-0-9.]+; [-0-9.]+ 0\.99[0-9]+ [-0-9.]+; [-0-9.]+ [-0-9.]+ 0\.99[0-9]+)")))
        << m[1];

    const Outcome byPosition = runQv({"info", "--emulate", "fl30c,2", "--bus", "1", "--port-path", "1", "--quiet"});
    ASSERT_EQ(byPosition.status, 0) << byPosition.both();
    EXPECT_TRUE(contains(byPosition.out, "serial number    FL30C0001")) << byPosition.out;
}

TEST(QvStream, ACameraThatIsNotThereIsNamedInTheMessage)
{
    const Outcome index = runQv({"info", "--emulate", "fl30c,2", "--index", "2", "--quiet"});
    EXPECT_EQ(index.status, 1);
    EXPECT_TRUE(contains(index.err, "qv info: there is no camera 2 (2 cameras are attached: 0 to 1)")) << index.both();
    const Outcome serial = runQv({"stream", "--emulate", "fl30c", "--serial", "XYZ", "--quiet"});
    EXPECT_EQ(serial.status, 1);
    EXPECT_TRUE(contains(serial.err, "qv stream: no attached camera has the serial number XYZ")) << serial.both();
    const Outcome position = runQv({"get", "gain", "--emulate", "fl30c", "--bus", "1", "--port-path", "3", "--quiet"});
    EXPECT_EQ(position.status, 1);
    EXPECT_TRUE(contains(position.err, "qv get: no camera on bus 1 at port path 3")) << position.both();
    const Outcome ambiguous = runQv({"info", "--emulate", "fl30c,2", "--quiet"});
    EXPECT_EQ(ambiguous.status, 2);
    EXPECT_TRUE(contains(ambiguous.err, "qv info: 2 cameras are attached: choose one with --index N")) << ambiguous.both();
}

TEST(QvStream, AConfigurationFileThatCannotBeUsedStopsTheStreamWithItsReason)
{
    const std::string dir = qvtest::scratchDirectory("qv-config");
    const Outcome missing = runQv({"stream", "--emulate", "fl30c", "--config", dir + "/absent.json", "--quiet"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(contains(missing.err, "qv stream: cannot read the configuration file " + dir + "/absent.json"))
        << missing.both();
    EXPECT_EQ(missing.out, "");

    std::ofstream(dir + "/broken.json") << "{\"version\": \"v1.0\", \"QV_CAM_FL30C\": {";
    const Outcome broken = runQv({"stream", "--emulate", "fl30c", "--frames", "3", "--config", dir + "/broken.json", "--quiet"});
    EXPECT_EQ(broken.status, 1);
    EXPECT_TRUE(contains(broken.err, "camera 0: the configuration file " + dir + "/broken.json was refused: it is not JSON"))
        << broken.both();
    EXPECT_FALSE(contains(broken.out, "frame groups")) << broken.both();

    // A container whose checksum no longer matches (one cipher byte changed) is named as such,
    // not taken for a camera that is missing or busy.
    std::ofstream(dir + "/plain.json") << R"({"version": "v1.0", "QV_CAM_FL30C": {}})";
    ASSERT_EQ(runProgram({QV_CONF_BINARY, "encrypt", dir + "/plain.json", dir + "/sealed.bin"}).status, 0);
    std::fstream sealed(dir + "/sealed.bin", std::ios::in | std::ios::out | std::ios::binary);
    sealed.seekg(20);
    const char byte = static_cast<char>(sealed.get() ^ 0xFF);
    sealed.seekp(20);
    sealed.put(byte);
    sealed.close();
    const Outcome tampered = runQv({"stream", "--emulate", "fl30c", "--frames", "3", "--config", dir + "/sealed.bin", "--quiet"});
    EXPECT_EQ(tampered.status, 1);
    EXPECT_TRUE(contains(tampered.err, "camera 0: the configuration file " + dir +
                                           "/sealed.bin was refused: its checksum does not match its contents"))
        << tampered.both();
}

TEST(QvStream, StreamsTheCameraCannotDeliverAreReported)
{
    // The cloud is computed from depth: the camera refuses it alone.
    const Outcome cloud = runQv({"stream", "--emulate", "fl30c", "--streams", "cloud", "--frames", "3", "--quiet"});
    EXPECT_EQ(cloud.status, 1);
    EXPECT_TRUE(contains(cloud.err, "camera 0: stream not started (code -85: this stream combination is not offered)"))
        << cloud.both();
    EXPECT_EQ(cloud.out, "");

    const Outcome mode = runQv({"stream", "--emulate", "fl30c", "--depth", "800x600", "--frames", "3", "--quiet"});
    EXPECT_EQ(mode.status, 1);
    EXPECT_TRUE(contains(mode.err, "camera 0: depth mode not offered (see qv info for the modes)")) << mode.both();
    const Outcome rates = runQv({"stream", "--emulate", "fl30c", "--depth", "640x480@30", "--rgb", "640x480@15",
                                 "--frames", "3", "--quiet"});
    EXPECT_EQ(rates.status, 1);
    EXPECT_TRUE(contains(rates.err, "camera 0: stream not started (code -91: frame rates do not combine)"))
        << rates.both();

    // Infrared comes only when the depth processor is told to send it.
    const Outcome ir = runQv({"stream", "--emulate", "fl30c", "--streams", "depth,ir", "--frames", "6", "--quiet"});
    EXPECT_EQ(ir.status, 1);
    EXPECT_TRUE(contains(ir.err, "qv stream: camera 0 sent no ir frames (the Fl30c sends infrared only when its depth "
                                 "processor is told to: --processor-output alternate or ir)"))
        << ir.both();
    EXPECT_GE(framesOf(ir.out, 0, "depth"), 6) << ir.out;

    const Outcome alternate = runQv({"stream", "--emulate", "fl30c", "--mask", "0x05", "--processor-output",
                                     "alternate", "--frames", "6", "--quiet"});
    EXPECT_EQ(alternate.status, 0) << alternate.both();
    EXPECT_GE(framesOf(alternate.out, 0, "ir"), 2) << alternate.out;
    EXPECT_GE(framesOf(alternate.out, 0, "depth"), 2) << alternate.out;
    EXPECT_LT(framesOf(alternate.out, 0, "color"), 0) << alternate.out;
}

// Every Solen model is listed by its model, opened (serial number, versions), streamed and set
// through qv, on its bulk pair or (the Gm80) behind the serial bridge. A G700 behind the bridge
// (1A86:5724, a USB attachment) has no model by the model table, which names it only as a
// serial attachment.
TEST(QvStream, SolenCamerasAreListedStreamedAndSet)
{
    const Outcome list = runQv({"list", "--emulate", "gm80,g700,fl30,fl30v", "--quiet"});
    ASSERT_EQ(list.status, 0) << list.both();
    for (const char* seen : {"Gm80 (CAMERA_MODEL_GM80 = 1)", "G700 (CAMERA_MODEL_G700 = 2)", "Fl30 (CAMERA_MODEL_FL30 = 3)",
                             "Fl30v (CAMERA_MODEL_FL30V = 4)", "serial number    GM800001", "serial number    G7000001",
                             "serial number    FL300001", "serial number    FL30V0001"})
        EXPECT_TRUE(contains(list.out, seen)) << seen << "\n" << list.out;
    size_t opened = 0;  // the firmware version is read from each camera opened
    for (size_t at = 0; (at = list.out.find("MCU_V1.3.2+ISP_V2.0.7", at)) != std::string::npos; ++at) ++opened;
    EXPECT_EQ(opened, 4u) << list.out;

    const Outcome r = runQv({"stream", "--emulate", "gm80-serial,fl30v", "--streams", "depth,ir", "--frames", "10", "--quiet"});
    ASSERT_EQ(r.status, 0) << r.both();
    EXPECT_TRUE(contains(r.out, "(Gm80): 10 frame groups") && contains(r.out, "(Fl30v): 10 frame groups")) << r.out;
    for (int camera : {0, 1})
        for (const char* stream : {"depth", "ir"}) EXPECT_EQ(framesOf(r.out, camera, stream), 10) << stream << "\n" << r.out;

    const Outcome info = runQv({"info", "--emulate", "gm80", "--quiet"});
    EXPECT_TRUE(contains(info.out, "depth processor  HX6.2.1") && contains(info.out, "640x400 @ 30 25 20 15 10 5"))
        << info.both();
    EXPECT_EQ(runQv({"set", "pwm", "40", "--emulate", "g700", "--quiet"}).out, "pwm = 40\n");
    EXPECT_EQ(runQv({"get", "himax", "--emulate", "fl30", "--quiet"}).out, "himax = HX6.2.1\n");
}

}  // namespace
