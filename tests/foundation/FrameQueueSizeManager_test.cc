#include "foundation/FrameQueueSizeManager.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

int const kMiB = 1048576;

class FrameQueueSizeManagerTest : public ::testing::Test {
protected:
    // The size for nChannels, with `config` as the file unless it is null;
    // what was printed goes to m_strPrinted.
    int sizeFor(int nChannels, char const* config) {
        EXPECT_TRUE(config == nullptr || m_temp.writeFile("hd1/program/config/TSFrameQueueConfig.ini", config));
        testing::internal::CaptureStdout();
        int const size = FrameQueueSizeManager::getFrameQueueSize(nChannels);
        m_strPrinted = testing::internal::GetCapturedStdout();
        return size;
    }

    TempDir m_temp;
    HostRootGuard m_root{m_temp.root()};
    std::string m_strPrinted;
};

TEST_F(FrameQueueSizeManagerTest, ChannelCountPicksTheKeyAndOnlyOneToTenMiBCount) {
    char const* const config = "04ChunnelSize=1\n08ChunnelSize=2\n16ChunnelSize=4\n32ChunnelSize=8\n";
    int const expected[][2] = {{0, 1}, {4, 1}, {5, 2}, {8, 2}, {9, 4}, {16, 4}, {17, 8}, {32, 8}, {33, 3}};
    for (auto const& row : expected) EXPECT_EQ(row[1] * kMiB, sizeFor(row[0], config)) << row[0];
    EXPECT_EQ("", m_strPrinted);
    int const values[][2] = {{11, 3}, {10, 10}, {1, 1}, {0, 3}, {-4, 3}};
    for (auto const& row : values)
        EXPECT_EQ(row[1] * kMiB, sizeFor(16, ("16ChunnelSize=" + std::to_string(row[0])).c_str())) << row[0];
}

// A recorder without the optional file asks once per channel: no console line.
TEST_F(FrameQueueSizeManagerTest, MissingFileIsLoggedAbsentKeyPrintedBothGiveThreeMiB) {
    EXPECT_EQ(3 * kMiB, sizeFor(4, nullptr));
    EXPECT_EQ(3 * kMiB, sizeFor(12, nullptr));
    EXPECT_EQ("", m_strPrinted);
    std::string const line = "FrameQueueConfig: open " + m_temp.path("hd1/program/config/TSFrameQueueConfig.ini") + " failed \n";
    std::string const log = m_temp.readFile("mnt/mtd/log/FrameQueueConfig.log");
    ASSERT_EQ(2 * (20 + line.size()), log.size()) << log;
    EXPECT_EQ(line, log.substr(20, line.size()));
    EXPECT_EQ(3 * kMiB, sizeFor(12, "04ChunnelSize=2\n"));
    EXPECT_EQ("get MaxChunnelAbility04 failed  nSize:0\n", m_strPrinted);
}

}  // namespace
