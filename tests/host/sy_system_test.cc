#include "host/sy_system.h"

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

namespace {

TEST(SySystemTest, AnswersTheExitStatusOfTheShell) {
    TempDir dir;
    std::string const command = "echo 1234 >" + dir.path("locate");
    EXPECT_EQ(0, sy_system(command.c_str(), 10));
    EXPECT_EQ("1234\n", dir.readFile("locate"));
    EXPECT_EQ(3, sy_system("exit 3", 10));
    EXPECT_EQ(127, sy_system("/no/such/program", 10));
    EXPECT_EQ(-1, sy_system(nullptr, 0));
    std::string const late = "sh -c 'sleep 1.5; echo late >" + dir.path("late") + "'; true";
    EXPECT_EQ(-1, sy_system(late.c_str(), 1));  // killed at the timeout, with what it started
    EXPECT_EQ(0, sy_system("sleep 1", 0));
    EXPECT_FALSE(dir.exists("late"));
    EXPECT_EQ(-1, sy_system("kill -9 $$", 0));  // killed by a signal
}

}  // namespace
