#include "foundation/FrameQueueSizeManager.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

int const kThreeMiB = 3 * 1048576;

class FrameQueueSizeManagerTest : public ::testing::Test {
protected:
    void writeConfig(std::string const& text) {
        ASSERT_TRUE(m_temp.writeFile("hd1/program/config/TSFrameQueueConfig.ini", text));
    }

    // Runs f with standard output captured into m_strPrinted.
    template <typename F>
    int printed(F f) {
        testing::internal::CaptureStdout();
        int const result = f();
        m_strPrinted = testing::internal::GetCapturedStdout();
        return result;
    }

    TempDir m_temp;
    HostRootGuard m_root{m_temp.root()};
    std::string m_strPrinted;
};

TEST_F(FrameQueueSizeManagerTest, ChannelCountPicksTheKey) {
    writeConfig("04ChunnelSize=1\n08ChunnelSize=2\n16ChunnelSize=4\n32ChunnelSize=8\n");
    EXPECT_EQ(1 * 1048576, FrameQueueSizeManager::getFrameQueueSize(0));
    EXPECT_EQ(1 * 1048576, FrameQueueSizeManager::getFrameQueueSize(4));
    EXPECT_EQ(2 * 1048576, FrameQueueSizeManager::getFrameQueueSize(5));
    EXPECT_EQ(2 * 1048576, FrameQueueSizeManager::getFrameQueueSize(8));
    EXPECT_EQ(4 * 1048576, FrameQueueSizeManager::getFrameQueueSize(9));
    EXPECT_EQ(4 * 1048576, FrameQueueSizeManager::getFrameQueueSize(16));
    EXPECT_EQ(8 * 1048576, FrameQueueSizeManager::getFrameQueueSize(17));
    EXPECT_EQ(8 * 1048576, FrameQueueSizeManager::getFrameQueueSize(32));
    EXPECT_EQ(kThreeMiB, FrameQueueSizeManager::getFrameQueueSize(33));
}

TEST_F(FrameQueueSizeManagerTest, OnlyOneToTenMiBCount) {
    writeConfig("16ChunnelSize=11\n");
    EXPECT_EQ(kThreeMiB, FrameQueueSizeManager::getTSFrameQueueSizeByConfig("16ChunnelSize"));
    writeConfig("16ChunnelSize=10\n");
    EXPECT_EQ(10485760, FrameQueueSizeManager::getTSFrameQueueSizeByConfig("16ChunnelSize"));
    writeConfig("16ChunnelSize=1\n");
    EXPECT_EQ(1048576, FrameQueueSizeManager::getTSFrameQueueSizeByConfig("16ChunnelSize"));
    writeConfig("16ChunnelSize=0\n");
    EXPECT_EQ(kThreeMiB, FrameQueueSizeManager::getTSFrameQueueSizeByConfig("16ChunnelSize"));
    writeConfig("16ChunnelSize=-4\n");
    EXPECT_EQ(kThreeMiB, FrameQueueSizeManager::getTSFrameQueueSizeByConfig("16ChunnelSize"));
}

TEST_F(FrameQueueSizeManagerTest, AbsentKeyIsReportedAndGivesThreeMiB) {
    writeConfig("04ChunnelSize=2\n");
    EXPECT_EQ(kThreeMiB, printed([] { return FrameQueueSizeManager::getFrameQueueSize(12); }));
    EXPECT_EQ("get MaxChunnelAbility04 failed  nSize:0\n", m_strPrinted);
}

TEST_F(FrameQueueSizeManagerTest, MissingFileIsReportedAndGivesThreeMiB) {
    EXPECT_EQ(kThreeMiB, printed([] { return FrameQueueSizeManager::getFrameQueueSize(4); }));
    EXPECT_EQ("open " + FrameQueueSizeManager::getConfigFileName() + " failed \n", m_strPrinted);
    EXPECT_EQ(m_temp.path("hd1/program/config/TSFrameQueueConfig.ini"),
              FrameQueueSizeManager::getConfigFileName());
}

}  // namespace
