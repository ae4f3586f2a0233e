#include "host/OVLogger.h"

#include <gtest/gtest.h>

#include <string>

#include "host/Logger.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

TEST(OVLoggerTest, RotatesAtTheLimitKeepingTheFileCount) {
    TempDir dir;
    OVLogger logger;
    ASSERT_TRUE(logger.init(dir.path("log/sub/test.log").c_str(), 200, 3));  // creates the folders
    std::string const message(50, 'm');
    for (int i = 0; i < 20; ++i) logger.writeLog("key", message.c_str());
    EXPECT_LE(dir.fileSize("log/sub/test.log"), 200);
    EXPECT_LE(dir.fileSize("log/sub/test.log.1"), 200);
    EXPECT_GT(dir.fileSize("log/sub/test.log.2"), 0);
    EXPECT_FALSE(dir.exists("log/sub/test.log.3"));
    // Lines are whole: none is split across files.
    EXPECT_EQ(0u, dir.readFile("log/sub/test.log.1").size() % (20 + 5 + 50 + 1));

    OVLogger single;  // one file is emptied instead of rotated
    ASSERT_TRUE(single.init(dir.path("one.log").c_str(), 100, 1));
    for (int i = 0; i < 10; ++i) single.writeLog("k", "0123456789012345678901234567890");
    EXPECT_LE(dir.fileSize("one.log"), 100);
    EXPECT_FALSE(dir.exists("one.log.1"));
}

TEST(OVLoggerTest, LineFormatsSilentFailuresAndNamedLogsUnderTheRoot) {
    HostRootGuard root;
    Logger::writeLog("RecordIOError", "disk failed", "/a/b/Writer.cc", 17);
    std::string const named = TempDir::readWhole(root.root() + "/mnt/mtd/log/RecordIOError.log");
    EXPECT_EQ(20u, named.find("RecordIOError: disk failed (Writer.cc:17)\n")) << named;
    TempDir dir;
    OVLogger logger;
    logger.init(dir.path("f.log").c_str(), 0, 1);
    logger.writeLog("Tag", "text\n");
    logger.writeLog("Tag", "more", "/src/dir/Source.cc", 42, 3);
    std::string const text = dir.readFile("f.log");
    // "YYYY-MM-DD HH:MM:SS " prefix
    ASSERT_EQ(20u + 10u + 20u + 29u, text.size()) << text;
    EXPECT_EQ('-', text[4]);
    EXPECT_EQ(':', text[13]);
    EXPECT_EQ("Tag: text\n", text.substr(20, 10));
    EXPECT_EQ("[3] Tag: more (Source.cc:42)\n", text.substr(50));

    EXPECT_FALSE(logger.init("/proc/forbidden/x.log", 10, 2));
    logger.writeLog("k", "still nothing", nullptr, 0, 0);
    EXPECT_EQ(text, dir.readFile("f.log"));  // the failed init let go of the old file
}

}  // namespace
