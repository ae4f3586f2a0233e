#include "host/OVLogger.h"

#include <gtest/gtest.h>

#include <string>

#include "host/GlobalEnv.h"
#include "host/HostPaths.h"
#include "host/Logger.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

int countLines(std::string const& text) {
    int lines = 0;
    for (char c : text) lines += c == '\n';
    return lines;
}

TEST(OVLoggerTest, RotatesAtTheLimitKeepingTheFileCount) {
    TempDir dir;
    OVLogger logger;
    std::string file = dir.path("log/sub/test.log");
    ASSERT_TRUE(logger.init(file.c_str(), 200, 3));  // creates the folders
    std::string message(50, 'm');
    for (int i = 0; i < 20; ++i) logger.writeLog("key", message.c_str());
    EXPECT_LE(dir.fileSize("log/sub/test.log"), 200);
    EXPECT_LE(dir.fileSize("log/sub/test.log.1"), 200);
    EXPECT_GT(dir.fileSize("log/sub/test.log.1"), 0);
    EXPECT_GT(dir.fileSize("log/sub/test.log.2"), 0);
    EXPECT_FALSE(dir.exists("log/sub/test.log.3"));
    // Lines are whole: none is split across files.
    EXPECT_EQ(0u, dir.readFile("log/sub/test.log.1").size() % (20 + 5 + 50 + 1));
}

TEST(OVLoggerTest, LineFormat) {
    TempDir dir;
    OVLogger logger;
    std::string file = dir.path("f.log");
    logger.init(file.c_str(), 0, 1);
    logger.writeLog("Tag", "text\n");
    logger.writeLog("Tag", "more", "/src/dir/Source.cc", 42, 3);
    std::string text = dir.readFile("f.log");
    ASSERT_EQ(2, countLines(text));
    // "YYYY-MM-DD HH:MM:SS " prefix
    EXPECT_EQ('-', text[4]);
    EXPECT_EQ(':', text[13]);
    EXPECT_EQ("Tag: text\n", text.substr(20, 10));
    EXPECT_NE(std::string::npos, text.find("[3] Tag: more (Source.cc:42)\n"));
}

TEST(OVLoggerTest, SingleFileIsEmptiedInsteadOfRotated) {
    TempDir dir;
    OVLogger logger;
    std::string file = dir.path("one.log");
    logger.init(file.c_str(), 100, 1);
    for (int i = 0; i < 10; ++i) logger.writeLog("k", "0123456789012345678901234567890");
    EXPECT_LE(dir.fileSize("one.log"), 100);
    EXPECT_FALSE(dir.exists("one.log.1"));
}

TEST(OVLoggerTest, FailuresAreSilent) {
    OVLogger uninitialised;
    uninitialised.writeLog("k", "nothing happens");
    OVLogger logger;
    EXPECT_FALSE(logger.init("/proc/forbidden/x.log", 10, 2));
    logger.writeLog("k", "still nothing", nullptr, 0, 0);
}

TEST(LoggerTest, WritesUnderTheMovedLogFolder) {
    HostRootGuard root;
    Logger::writeLog("RecordIOError", "disk failed", "/a/b/Writer.cc", 17);
    std::string path = HostPaths::getLogDir() + "/RecordIOError.log";
    EXPECT_EQ(root.root() + "/mnt/mtd/log/RecordIOError.log", path);
    FILE* file = fopen(path.c_str(), "r");
    ASSERT_NE(nullptr, file);
    char buffer[256] = {0};
    ASSERT_NE(nullptr, fgets(buffer, sizeof(buffer), file));
    fclose(file);
    EXPECT_NE(std::string::npos,
              std::string(buffer).find("RecordIOError: disk failed (Writer.cc:17)"));
}

TEST(GlobalEnvTest, PrintFlagIsSettable) {
    GlobalEnv* env = GlobalEnv::getInstance();
    bool old = env->getPrintFlag();
    env->setPrintFlag(true);
    EXPECT_TRUE(GlobalEnv::getInstance()->getPrintFlag());
    env->setPrintFlag(old);
}

}  // namespace
