#include <gtest/gtest.h>

#include <regex>
#include <thread>

#include "LogCapture.h"
#include "Logger.h"
#include "qv_common.h"

namespace {

void logFromHere() { QV_LOGE("value ", 42, " ratio ", 0.5, " text"); }

}  // namespace

TEST(LoggerTest, LineCarriesTimeLevelSourceLineFunctionAndStreamedParts)
{
    orrtest::StdoutCapture capture;
    logFromHere();
    const std::string out = capture.text();
    // No blank between time and "[", one blank after each closing bracket.
    const std::regex line(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\[ERROR\] \[LoggerTest\] \[\d+\] \[logFromHere\] value 42 ratio 0\.5 text\n$)");
    EXPECT_TRUE(std::regex_match(out, line)) << out;
}

TEST(LoggerTest, EachLevelPrintsItsWord)
{
    orrtest::StdoutCapture capture;
    QV_LOGI("a");
    QV_LOGW("b");
    QV_LOGE("c");
    const std::string out = capture.text();
    EXPECT_EQ(orrtest::countLogLines(out, "INFO", "LoggerTest", "TestBody", "a"), 1);
    EXPECT_EQ(orrtest::countLogLines(out, "WARN", "LoggerTest", "TestBody", "b"), 1);
    EXPECT_EQ(orrtest::countLogLines(out, "ERROR", "LoggerTest", "TestBody", "c"), 1);
}

TEST(LoggerTest, StoredLevelIsEchoedAndNeverFilters)
{
    orrtest::StdoutCapture capture;
    setLogLevel(LOG_LEVEL_ERROR);
    QV_LOGI("still printed");
    setLogLevel(LOG_LEVEL_INFO);
    const std::string out = capture.text();
    EXPECT_NE(out.find("log level:2\n"), std::string::npos) << out;
    EXPECT_NE(out.find("log level:0\n"), std::string::npos) << out;
    EXPECT_EQ(orrtest::countLogLines(out, "INFO", "LoggerTest", "TestBody", "still printed"), 1);
    EXPECT_EQ(getLogLevel(), LOG_LEVEL_INFO);
}

TEST(LoggerTest, SourceNameDropsDirectoryAndOnlyTheLastExtension)
{
    static_assert(orrindale::log::sourceName("/a/b/qv_camera_sdk_api.cpp") == "qv_camera_sdk_api");
    static_assert(orrindale::log::sourceName("common.cpp") == "common");
    static_assert(orrindale::log::sourceName("dir/Logger.h") == "Logger");
    static_assert(orrindale::log::sourceName("dir/archive.tar.gz") == "archive.tar");
    static_assert(orrindale::log::sourceName("dir/.hidden") == ".hidden");
    static_assert(orrindale::log::sourceName("noext") == "noext");
    SUCCEED();
}

TEST(LoggerTest, SysTimeIsLocalDateAndTime)
{
    const std::string t = getSysTime();
    EXPECT_TRUE(std::regex_match(t, std::regex(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2})"))) << t;
}

TEST(LoggerTest, LinesOfConcurrentThreadsStayWhole)
{
    orrtest::StdoutCapture capture;
    std::thread a([] {
        for (int i = 0; i < 200; ++i) QV_LOGI("from thread a ", i);
    });
    std::thread b([] {
        for (int i = 0; i < 200; ++i) QV_LOGW("from thread b ", i);
    });
    a.join();
    b.join();
    const std::string out = capture.text();
    EXPECT_EQ(orrtest::countAnyLogLines(out), 400);
    EXPECT_EQ(orrtest::splitLines(out).size(), 400u);
}
