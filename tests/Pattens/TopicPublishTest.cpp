#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "topicPublish.h"

namespace fs = std::filesystem;

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

TEST(TopicPublishTest, ChannelFilesInTheWorkingDirectoryGoAtExitAndNothingElseDoes)
{
    // No process id in the name: the death test's child runs this body again.
    const fs::path dir = fs::path(std::getenv("ORR_TEST_TMP")) / "topic-channel-files";
    fs::remove_all(dir);
    fs::create_directories(dir / "qv_TopicChannel_dir");
    for (const char* name : {"qv_TopicChannel_1", "old.qv_TopicChannel_x", "qv_TopicChannel", "keep.txt"})
        std::ofstream(dir / name) << "x";
    // The publisher is made and ends in a process of its own, as at an application's exit.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            if (chdir(dir.c_str()) != 0) std::_Exit(3);
            topicPublish::getInstance();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
    std::set<std::string> left;
    for (const auto& entry : fs::directory_iterator(dir)) left.insert(entry.path().filename());
    EXPECT_EQ(left, (std::set<std::string>{"qv_TopicChannel", "keep.txt"}));
    fs::remove_all(dir);
}
