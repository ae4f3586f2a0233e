#include "foundation/CommonLog.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

using Lines = std::vector<std::string>;

class CommonLogTest : public ::testing::Test {
protected:
    // What CommonLog composed (from the tag on) of each line of a log file.
    Lines bodies(std::string const& name) const {
        Lines result;
        std::istringstream in(m_temp.readFile("mnt/mtd/log/" + name));
        for (std::string line; std::getline(in, line);) result.push_back(line.substr(std::min(line.find('['), line.size())));
        return result;
    }

    TempDir m_temp;
    HostRootGuard m_root{m_temp.root()};
};

TEST_F(CommonLogTest, LineFormsCarryTheTagAreCutAt511AndNothingBeforeInit) {
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
    std::string const longText(2000, 'x');
    log.writeLog(longText.c_str());
    log.writeLog("name", 5, longText.c_str());
    log.writeUnRepeatInfo(1, 1, longText.c_str());
    std::string const exact(511 - 8, 'y');  // fills the line after "[NVR_3] "
    log.writeLog(exact.c_str());
    Lines const written = bodies("FrameQueueError.log");
    ASSERT_EQ(7u, written.size());
    EXPECT_EQ((Lines{"[NVR_3] plain text", "[NVR_3] nRet:-703 with code", "[NVR_3] unrepeated nRet:-702 "}),
              Lines(written.begin(), written.begin() + 3));
    for (size_t i = 3; i < written.size(); ++i) EXPECT_EQ(511u, written[i].size()) << i;
    EXPECT_EQ("[NVR_3] " + exact, written[6]);
    EXPECT_NE(std::string::npos, m_temp.readFile("mnt/mtd/log/FrameQueueError.log").find("printMessage: [NVR_3]"));
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
    EXPECT_EQ((Lines{"[D_1] first nRet:0 ", "[D_1] run nRet:-703 ", "[D_1] other nRet:-704 ", "[D_1] back nRet:-703 ",
                     "[D_1] after null nRet:9 "}),
              bodies("unrepeat.log"));
}

TEST_F(CommonLogTest, EachLogKeepsItsOwnSizeLimitAndBackups) {
    CommonLog log;
    ASSERT_TRUE(log.initLog("rotate", 0, "D", 1, 300, 3));
    for (int i = 0; i < 40; ++i) log.writeLog(("line " + std::to_string(i) + std::string(40, 'z')).c_str());
    EXPECT_LE(m_temp.fileSize("mnt/mtd/log/rotate.log.2"), 300);
    EXPECT_GT(m_temp.fileSize("mnt/mtd/log/rotate.log.2"), 0);
    EXPECT_FALSE(m_temp.exists("mnt/mtd/log/rotate.log.3"));

    CommonLog::writeBugLog("broken invariant", "Writer.cc", 120);
    EXPECT_NE(std::string::npos, m_temp.readFile("mnt/mtd/log/Bug.log").find("Bug: broken invariant (Writer.cc:120)\n"));
    std::string const filler(400, 'b');
    for (int i = 0; i < 600; ++i) CommonLog::writeBugLog(filler.c_str(), "f.cc", i);
    EXPECT_LE(m_temp.fileSize("mnt/mtd/log/Bug.log"), 102400);
    EXPECT_GT(m_temp.fileSize("mnt/mtd/log/Bug.log.1"), 102400 - 1024);
    EXPECT_FALSE(m_temp.exists("mnt/mtd/log/Bug.log.2"));
}

}  // namespace
