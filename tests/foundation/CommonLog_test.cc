#include "foundation/CommonLog.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

class CommonLogTest : public ::testing::Test {
protected:
    std::vector<std::string> lines(std::string const& rel) const {
        std::vector<std::string> result;
        std::istringstream in(m_temp.readFile(rel));
        std::string line;
        while (std::getline(in, line)) result.push_back(line);
        return result;
    }

    // The part of a log line that CommonLog composed, from its tag on.
    static std::string body(std::string const& line) {
        std::size_t const pos = line.find('[');
        return pos == std::string::npos ? std::string() : line.substr(pos);
    }

    TempDir m_temp;
    HostRootGuard m_root{m_temp.root()};
};

TEST_F(CommonLogTest, WritesNothingBeforeInit) {
    CommonLog log;
    EXPECT_EQ(-1, log.writeLog("x"));
    EXPECT_EQ(-1, log.writeLog("name", 1, "x"));
    EXPECT_EQ(-1, log.writeUnRepeatInfo(1, 2, "x"));
    EXPECT_FALSE(log.initLog(nullptr, 0, "dev", 1, 1000, 1));
    EXPECT_FALSE(log.initLog("name", 0, nullptr, 1, 1000, 1));
    EXPECT_FALSE(log.isInit());
    EXPECT_FALSE(m_temp.exists("mnt/mtd/log/name.log"));
}

TEST_F(CommonLogTest, LineFormsCarryTheTag) {
    CommonLog log;
    ASSERT_TRUE(log.initLog("FrameQueueError", 7, "NVR", 3, 307200, 3));
    EXPECT_STREQ("NVR_3", log.getTag());
    EXPECT_EQ(m_temp.path("mnt/mtd/log/FrameQueueError.log"), log.getLogFileName());
    EXPECT_EQ(0, log.writeLog("plain text"));
    EXPECT_EQ(0, log.writeLog("printMessage", -703, "with code"));
    EXPECT_EQ(-1, log.writeLog(nullptr, -703, "no name"));
    EXPECT_EQ(-1, log.writeLog("printMessage", -703, nullptr));
    EXPECT_EQ(1, log.writeUnRepeatInfo(1, -702, "unrepeated"));

    std::vector<std::string> const written = lines("mnt/mtd/log/FrameQueueError.log");
    ASSERT_EQ(3u, written.size());
    EXPECT_EQ("[NVR_3] plain text", body(written[0]));
    EXPECT_NE(std::string::npos, written[0].find("FrameQueueError: [NVR_3]"));
    EXPECT_EQ("[NVR_3] nRet:-703 with code", body(written[1]));
    EXPECT_NE(std::string::npos, written[1].find("printMessage: [NVR_3]"));
    EXPECT_EQ("[NVR_3] unrepeated nRet:-702 ", body(written[2]));
}

TEST_F(CommonLogTest, LinesAreCutAt511Characters) {
    CommonLog log;
    ASSERT_TRUE(log.initLog("cut", 0, "D", 1, 0, 1));
    std::string const longText(2000, 'x');
    log.writeLog(longText.c_str());
    log.writeLog("name", 5, longText.c_str());
    log.writeUnRepeatInfo(1, 1, longText.c_str());
    std::string const exact(511 - std::string("[D_1] ").size(), 'y');
    log.writeLog(exact.c_str());

    std::vector<std::string> const written = lines("mnt/mtd/log/cut.log");
    ASSERT_EQ(4u, written.size());
    for (std::string const& line : written) EXPECT_EQ(511u, body(line).size()) << line;
    EXPECT_EQ("[D_1] " + exact, body(written[3]));
}

TEST_F(CommonLogTest, UnRepeatInfoWritesEachChangeOnce) {
    CommonLog log;
    ASSERT_TRUE(log.initLog("unrepeat", 0, "D", 1, 0, 1));
    EXPECT_EQ(1, log.writeUnRepeatInfo(0, 0, "first"));  // no pair is remembered at start
    EXPECT_EQ(0, log.writeUnRepeatInfo(0, 0, "first"));
    for (int i = 0; i < 100; ++i) log.writeUnRepeatInfo(4, -703, "run");
    EXPECT_EQ(1, log.writeUnRepeatInfo(4, -704, "other code"));
    EXPECT_EQ(1, log.writeUnRepeatInfo(4, -703, "back"));
    EXPECT_EQ(1, log.writeUnRepeatInfo(4, -704, "again"));
    EXPECT_EQ(0, log.writeUnRepeatInfo(4, -213, "never"));
    EXPECT_EQ(0, log.writeUnRepeatInfo(5, -213, "never"));
    EXPECT_EQ(0, log.writeUnRepeatInfo(4, -704, "again"));  // -213 was not remembered
    EXPECT_EQ(0, log.writeUnRepeatInfo(9, 9, nullptr));
    EXPECT_EQ(1, log.writeUnRepeatInfo(9, 9, "null text was not remembered"));

    std::vector<std::string> const written = lines("mnt/mtd/log/unrepeat.log");
    ASSERT_EQ(6u, written.size());
    EXPECT_EQ("[D_1] first nRet:0 ", body(written[0]));
    EXPECT_EQ("[D_1] run nRet:-703 ", body(written[1]));
    EXPECT_EQ("[D_1] other code nRet:-704 ", body(written[2]));
    EXPECT_EQ("[D_1] back nRet:-703 ", body(written[3]));
    EXPECT_EQ("[D_1] again nRet:-704 ", body(written[4]));
    EXPECT_EQ("[D_1] null text was not remembered nRet:9 ", body(written[5]));
}

TEST_F(CommonLogTest, RotatesAtItsSizeLimitKeepingBackups) {
    CommonLog log;
    ASSERT_TRUE(log.initLog("rotate", 0, "D", 1, 300, 3));
    for (int i = 0; i < 40; ++i) {
        log.writeLog(("line " + std::to_string(i) + " " + std::string(40, 'z')).c_str());
    }
    EXPECT_TRUE(m_temp.exists("mnt/mtd/log/rotate.log"));
    EXPECT_TRUE(m_temp.exists("mnt/mtd/log/rotate.log.1"));
    EXPECT_TRUE(m_temp.exists("mnt/mtd/log/rotate.log.2"));
    EXPECT_FALSE(m_temp.exists("mnt/mtd/log/rotate.log.3"));
    for (char const* rel :
         {"mnt/mtd/log/rotate.log", "mnt/mtd/log/rotate.log.1", "mnt/mtd/log/rotate.log.2"}) {
        EXPECT_LE(m_temp.fileSize(rel), 300) << rel;
        EXPECT_GT(m_temp.fileSize(rel), 0) << rel;
    }
    std::vector<std::string> const newest = lines("mnt/mtd/log/rotate.log");
    ASSERT_FALSE(newest.empty());
    EXPECT_NE(std::string::npos, newest.back().find("line 39 "));
}

TEST_F(CommonLogTest, BugLogHasItsOwnFileAndLimit) {
    CommonLog::writeBugLog("broken invariant", "Writer.cc", 120);
    EXPECT_EQ(m_temp.path("mnt/mtd/log/Bug.log"), CommonLog::getBugLogFileName());
    std::vector<std::string> const written = lines("mnt/mtd/log/Bug.log");
    ASSERT_EQ(1u, written.size());
    EXPECT_NE(std::string::npos, written[0].find("Bug: broken invariant (Writer.cc:120)"));

    std::string const filler(400, 'b');
    for (int i = 0; i < 600; ++i) CommonLog::writeBugLog(filler.c_str(), "f.cc", i);
    EXPECT_LE(m_temp.fileSize("mnt/mtd/log/Bug.log"), 102400);
    EXPECT_GT(m_temp.fileSize("mnt/mtd/log/Bug.log.1"), 102400 - 1024);
    EXPECT_FALSE(m_temp.exists("mnt/mtd/log/Bug.log.2"));
    CommonLog::writeBugLog(nullptr, "f.cc", 1);  // ignored, never a crash
}

}  // namespace
