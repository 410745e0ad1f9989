// The logger as an application's log collector sees it: read through a pipe from a process
// that is still running (each line flushed as written), in the process's local time.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <mutex>
#include <regex>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "Logger.h"
#include "qv_common.h"

namespace {

void logFromHere() { QV_LOGE("value ", 42, " ratio ", 0.5, " text"); }

// Reads from fd until `lines` line ends arrived or 20 s passed.
std::string readLines(int fd, int lines)
{
    std::string text;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::count(text.begin(), text.end(), '\n') < lines && std::chrono::steady_clock::now() < deadline) {
        pollfd p{fd, POLLIN, 0};
        char buffer[512];
        if (poll(&p, 1, 100) <= 0) continue;
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n <= 0) break;
        text.append(buffer, static_cast<size_t>(n));
    }
    return text;
}

std::string timeText(std::time_t t)
{
    std::tm tm{};
    gmtime_r(&t, &tm);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%F %T", &tm));
}

}  // namespace

TEST(Logger, EachLineIsFlushedInLocalTimeWhileTheProgramRuns)
{
    int out[2], go[2];
    ASSERT_EQ(pipe(out), 0);
    ASSERT_EQ(pipe(go), 0);
    const std::time_t before = std::time(nullptr);
    std::fflush(stdout);  // nothing of this process in the child's buffer
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Five hours and 45 minutes east of UTC, no time zone files needed.
        setenv("TZ", "ORR-05:45", 1);
        tzset();
        dup2(out[1], STDOUT_FILENO);
        setLogLevel(LOG_LEVEL_ERROR);
        QV_LOGI("still printed");
        logFromHere();
        char c;
        (void)!read(go[0], &c, 1);  // alive until the parent has read the lines
        _exit(0);
    }
    close(out[1]);
    const std::string text = readLines(out[0], 3);
    const std::time_t after = std::time(nullptr);
    (void)!write(go[1], "x", 1);
    int status = 0;
    waitpid(child, &status, 0);
    close(out[0]);
    close(go[0]);
    close(go[1]);

    const auto lines = orrtest::splitLines(text);
    ASSERT_EQ(lines.size(), 3u) << text;
    EXPECT_EQ(lines[0], "log level:2");
    EXPECT_EQ(orrtest::countLogLines(text, "INFO", "LoggerTest", "TestBody", "still printed"), 1) << text;
    // No blank between time and "[", one blank after each closing bracket.
    std::smatch m;
    ASSERT_TRUE(std::regex_match(lines[2], m, std::regex(R"(^(.{19})\[ERROR\] \[LoggerTest\] \[\d+\] \[logFromHere\] value 42 ratio 0\.5 text$)")))
        << lines[2];
    const std::time_t offset = 5 * 3600 + 45 * 60;
    EXPECT_TRUE(m[1] == timeText(before + offset) || m[1] == timeText(after + offset))
        << m[1] << " is not the local time " << timeText(before + offset);
}

TEST(Logger, LinesOfConcurrentThreadsStayWhole)
{
    static_assert(orrindale::log::sourceName("/a/b/qv_camera_sdk_api.cpp") == "qv_camera_sdk_api");
    static_assert(orrindale::log::sourceName("dir/archive.tar.gz") == "archive.tar");
    static_assert(orrindale::log::sourceName("dir/.hidden") == ".hidden");
    orrtest::StdoutCapture capture;
    std::thread a([] {
        for (int i = 0; i < 200; ++i) QV_LOGI("from thread a ", i);
    });
    for (int i = 0; i < 200; ++i) QV_LOGW("from thread b ", i);
    a.join();
    const std::string out = capture.text();
    EXPECT_EQ(orrtest::countAnyLogLines(out), 400);
    EXPECT_EQ(orrtest::splitLines(out).size(), 400u);
}

namespace {

struct Received {
    std::mutex mutex;
    std::vector<std::pair<int32_t, std::string>> lines;
    std::atomic<int> running{0};
    std::atomic<int> count{0};
    std::atomic<bool> replaced{false};
    std::atomic<int> callsAfterReplaced{0};
    bool nestedSet = false;
};

void receive(int32_t level, const char* line, void* user)
{
    auto* r = static_cast<Received*>(user);
    ++r->running;
    if (r->replaced) ++r->callsAfterReplaced;
    std::string text = line;
    if (text.find("nest") != std::string::npos) {
        QV_LOGI("logged by the receiver");  // to standard output, not back here
        r->nestedSet = QV_SDK_SetLogCallback(nullptr, nullptr) == -1;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    {
        std::lock_guard<std::mutex> lock(r->mutex);
        r->lines.emplace_back(level, std::move(text));
    }
    ++r->count;
    --r->running;
}

}  // namespace

TEST(LoggerTest, LogCallbackReceivesWholeLinesInsteadOfStdoutUntilReplaced)
{
    Received r;
    orrtest::StdoutCapture capture;
    ASSERT_EQ(QV_SDK_SetLogCallback(&receive, &r), 0);
    QV_LOGW("to the receiver");
    QV_LOGE("nest");
    // Threads keep logging while the receiver is taken away: once the call returned, the
    // receiver runs no more.
    std::atomic<bool> stop{false};
    std::thread logger([&] {
        while (!stop) QV_LOGI("busy");
    });
    while (r.count < 5) std::this_thread::yield();
    ASSERT_EQ(QV_SDK_SetLogCallback(nullptr, nullptr), 0);
    r.replaced = true;
    EXPECT_EQ(r.running, 0);
    stop = true;
    logger.join();
    QV_LOGI("back on stdout");
    const std::string out = capture.text();

    EXPECT_EQ(r.callsAfterReplaced, 0);
    ASSERT_GE(r.lines.size(), 2u);
    EXPECT_EQ(r.lines[0].first, LOG_LEVEL_WARN);
    EXPECT_TRUE(std::regex_match(r.lines[0].second, std::regex(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\[WARN\] \[LoggerTest\] \[\d+\] \[TestBody\] to the receiver$)")))
        << r.lines[0].second;
    EXPECT_EQ(r.lines[1].first, LOG_LEVEL_ERROR);
    EXPECT_TRUE(r.nestedSet);
    EXPECT_EQ(orrtest::countLogLines(out, "INFO", "LoggerTest", "receive", "logged by the receiver"), 1);
    EXPECT_EQ(orrtest::countLogLines(out, "ERROR", "Logger", "QV_SDK_SetLogCallback",
                                     "the log callback cannot be changed from inside itself"),
              1);
    EXPECT_EQ(orrtest::countLogLines(out, "INFO", "LoggerTest", "TestBody", "back on stdout"), 1);
    EXPECT_EQ(orrtest::countLogLines(out, "WARN", "LoggerTest", "TestBody", "to the receiver"), 0);
}
