#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "topicPublish.h"

namespace fs = std::filesystem;

TEST(TopicPublishTest, ChannelFilesInTheWorkingDirectoryGoAtExitAndNothingElseDoes)
{
    const fs::path dir = fs::path(std::getenv("ORR_TEST_TMP")) / ("topic-" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir / "qv_TopicChannel_dir");
    for (const char* name : {"qv_TopicChannel_1", "old.qv_TopicChannel_x", "qv_TopicChannel", "keep.txt"})
        std::ofstream(dir / name) << "x";
    // The publisher is made and ends in a child, as at an application's exit. This test comes
    // first, so that this process has no publisher of its own yet when it forks.
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(dir.c_str()) != 0) std::_Exit(3);
        topicPublish::getInstance();
        std::exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    std::set<std::string> left;
    for (const auto& entry : fs::directory_iterator(dir)) left.insert(entry.path().filename());
    EXPECT_EQ(left, (std::set<std::string>{"qv_TopicChannel", "keep.txt"}));
    fs::remove_all(dir);
}

TEST(TopicPublishTest, MessagesArriveAsPlainBodiesAndAnIdleWaitEndsAfterItsTimeout)
{
    topicPublish* topic = topicPublish::getInstance();
    ASSERT_EQ(topic->send("event", "E IP[10.0.0.7]IP"), 16);
    ASSERT_EQ(topic->send("notice", "notice"), 6);
    std::string message;
    EXPECT_EQ(topic->recv(message, 2000), 16);
    EXPECT_EQ(message, "E IP[10.0.0.7]IP");  // no topic frame before or inside the body
    EXPECT_EQ(topic->recv(message, 2000), 6);
    EXPECT_EQ(message, "notice");

    const auto start = std::chrono::steady_clock::now();
    EXPECT_LT(topic->recv(message, 300), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(295));
    EXPECT_EQ(message, "notice");
}
