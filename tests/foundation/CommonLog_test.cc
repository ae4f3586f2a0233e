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
    // What CommonLog composed (from the tag on) of each line of a log file.
    std::vector<std::string> bodies(std::string const& name) const {
        std::vector<std::string> result;
        std::istringstream in(m_temp.readFile("mnt/mtd/log/" + name));
        std::string line;
        while (std::getline(in, line)) {
            std::size_t const pos = line.find('[');
            result.push_back(pos == std::string::npos ? line : line.substr(pos));
        }
        return result;
    }

    TempDir m_temp;
    HostRootGuard m_root{m_temp.root()};
};

TEST_F(CommonLogTest, LineFormsCarryTheTagAndNothingBeforeInit) {
    CommonLog log;
    EXPECT_EQ(-1, log.writeLog("too early"));
    EXPECT_EQ(-1, log.writeUnRepeatInfo(1, 2, "too early"));
    EXPECT_FALSE(log.initLog(nullptr, 0, "NVR", 3, 1000, 1));
    EXPECT_FALSE(log.initLog("FrameQueueError", 0, nullptr, 3, 1000, 1));

    ASSERT_TRUE(log.initLog("FrameQueueError", 7, "NVR", 3, 307200, 3));
    EXPECT_EQ(0, log.writeLog("plain text"));
    EXPECT_EQ(0, log.writeLog("printMessage", -703, "with code"));
    EXPECT_EQ(-1, log.writeLog(nullptr, -703, "no name"));
    EXPECT_EQ(1, log.writeUnRepeatInfo(1, -702, "unrepeated"));
    EXPECT_EQ((std::vector<std::string>{"[NVR_3] plain text", "[NVR_3] nRet:-703 with code",
                                        "[NVR_3] unrepeated nRet:-702 "}),
              bodies("FrameQueueError.log"));
    EXPECT_NE(std::string::npos,
              m_temp.readFile("mnt/mtd/log/FrameQueueError.log").find("printMessage: [NVR_3]"));
}

TEST_F(CommonLogTest, LinesAreCutAt511Characters) {
    CommonLog log;
    ASSERT_TRUE(log.initLog("cut", 0, "D", 1, 0, 1));
    std::string const longText(2000, 'x');
    log.writeLog(longText.c_str());
    log.writeLog("name", 5, longText.c_str());
    log.writeUnRepeatInfo(1, 1, longText.c_str());
    std::string const exact(511 - 6, 'y');  // fills the line after "[D_1] "
    log.writeLog(exact.c_str());
    std::vector<std::string> const written = bodies("cut.log");
    ASSERT_EQ(4u, written.size());
    for (std::string const& body : written) EXPECT_EQ(511u, body.size());
    EXPECT_EQ("[D_1] " + exact, written[3]);
}

TEST_F(CommonLogTest, UnRepeatInfoWritesEachChangeOnce) {
    CommonLog log;
    ASSERT_TRUE(log.initLog("unrepeat", 0, "D", 1, 0, 1));
    EXPECT_EQ(1, log.writeUnRepeatInfo(0, 0, "first"));  // no pair is remembered at start
    for (int i = 0; i < 100; ++i) log.writeUnRepeatInfo(4, -703, "run");
    EXPECT_EQ(1, log.writeUnRepeatInfo(4, -704, "other"));
    EXPECT_EQ(1, log.writeUnRepeatInfo(4, -703, "back"));
    EXPECT_EQ(0, log.writeUnRepeatInfo(5, -213, "never"));
    EXPECT_EQ(0, log.writeUnRepeatInfo(4, -703, "back"));  // -213 was not remembered
    EXPECT_EQ(0, log.writeUnRepeatInfo(9, 9, nullptr));
    EXPECT_EQ(1, log.writeUnRepeatInfo(9, 9, "after null"));
    EXPECT_EQ((std::vector<std::string>{"[D_1] first nRet:0 ", "[D_1] run nRet:-703 ",
                                        "[D_1] other nRet:-704 ", "[D_1] back nRet:-703 ",
                                        "[D_1] after null nRet:9 "}),
              bodies("unrepeat.log"));
}

TEST_F(CommonLogTest, RotatesAtItsSizeLimitKeepingBackups) {
    CommonLog log;
    ASSERT_TRUE(log.initLog("rotate", 0, "D", 1, 300, 3));
    for (int i = 0; i < 40; ++i) log.writeLog(("line " + std::to_string(i) + std::string(40, 'z')).c_str());
    for (char const* rel : {"mnt/mtd/log/rotate.log", "mnt/mtd/log/rotate.log.1", "mnt/mtd/log/rotate.log.2"}) {
        EXPECT_GT(m_temp.fileSize(rel), 0) << rel;
        EXPECT_LE(m_temp.fileSize(rel), 300) << rel;
    }
    EXPECT_FALSE(m_temp.exists("mnt/mtd/log/rotate.log.3"));
    EXPECT_EQ(0u, bodies("rotate.log").back().find("[D_1] line 39z"));
}

TEST_F(CommonLogTest, BugLogHasItsOwnFileAndLimit) {
    CommonLog::writeBugLog("broken invariant", "Writer.cc", 120);
    EXPECT_NE(std::string::npos,
              m_temp.readFile("mnt/mtd/log/Bug.log").find("Bug: broken invariant (Writer.cc:120)\n"));
    std::string const filler(400, 'b');
    for (int i = 0; i < 600; ++i) CommonLog::writeBugLog(filler.c_str(), "f.cc", i);
    EXPECT_LE(m_temp.fileSize("mnt/mtd/log/Bug.log"), 102400);
    EXPECT_GT(m_temp.fileSize("mnt/mtd/log/Bug.log.1"), 102400 - 1024);
    EXPECT_FALSE(m_temp.exists("mnt/mtd/log/Bug.log.2"));
}

}  // namespace
