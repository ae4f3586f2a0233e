#include "foundation/BasicTool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/TimeConvert.h"
#include "host/OVDateTime.h"
#include "tests/support/TempDir.h"

namespace {

using Names = std::vector<std::string>;

unsigned long const kNoonNewYear = 1704110400UL;  // 2024-01-01 12:00:00 UTC

class BasicToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        TimeConvert::clearCache();
    }

    static int number(std::string const& name) {
        int value = 99;
        bool const ok = BasicTool::getFileNumber(name, value);
        EXPECT_EQ(ok, value >= 0) << name;
        return value;
    }
};

TEST_F(BasicToolTest, RecordFileNamesCarryNumberDateAndLock) {
    std::string const numbered = BasicTool::getRecordFileName(12, "A1", "192.168.1.5", 3, kNoonNewYear);
    std::string const plain = BasicTool::getRecordFileName(-1, "A1", "192.168.1.5", 3, kNoonNewYear);
    EXPECT_EQ("00012-A1_192.168.1.5_3_20240101120000.ts", numbered);
    EXPECT_EQ("A1_192.168.1.5_3_20240101120000.ts", plain);
    // One caller numbers from 0; the other passes -1 for 0 and gets the plain form.
    EXPECT_EQ("00000-" + plain, BasicTool::getRecordFileName(0, "A1", "192.168.1.5", 3, kNoonNewYear));
    EXPECT_EQ(0, number("00000-" + plain));
    EXPECT_EQ(-1, number(plain));
    std::string const locked = BasicTool::getLockedFileName(numbered);
    EXPECT_EQ(numbered + "&", locked);
    EXPECT_TRUE(BasicTool::isFileLocked(locked.c_str()));
    EXPECT_FALSE(BasicTool::isFileLocked(numbered));
    EXPECT_EQ(numbered, BasicTool::getUnlockedFileName(locked));
    EXPECT_EQ(12, number(locked));
    EXPECT_EQ("2024-01-01", BasicTool::getDateString(locked));
}

TEST_F(BasicToolTest, IPv6IsWrittenWithDashesEverywhere) {
    std::string const dir = BasicTool::getDeviceDirString("NVR", "fe80::1:2", 4);
    std::string const name = BasicTool::getRecordFileName(7, "NVR", "fe80::1:2", 4, kNoonNewYear);
    EXPECT_EQ("NVR_fe80--1-2_4", dir);
    EXPECT_EQ("00007-NVR_fe80--1-2_4_20240101120000.ts", name);
    EXPECT_EQ(7, number(name));  // the dashes of the IP are ignored
    EXPECT_EQ("NVR_fe80--1-2_4_20240101120000.mjpeg",
              BasicTool::getSnapshotFileName("NVR", "fe80::1:2", 4, "20240101120000", ".mjpeg"));
    DeviceDirParser parser(dir.c_str());
    EXPECT_TRUE(BasicTool::isMatchDevice(parser, "NVR", "fe80::1:2", 4));
    EXPECT_TRUE(BasicTool::isMatchDevice(parser, "", "fe80--1-2", -1));
    EXPECT_FALSE(BasicTool::isMatchDevice(parser, "NVR", "fe80::1:3", 4));
    // The camera is printed into six characters at most.
    EXPECT_EQ("A_1.2.3.4_123456", BasicTool::getDeviceDirString("A", "1.2.3.4", 1234567));
}

TEST_F(BasicToolTest, NamesAndNumbersThatBreakTheGrammar) {
    for (char const* name : {"0a012-A1_1.2.3.4_3_20240101120000.ts", "-A1_1.2.3.4_3_20240101120000.ts",
                             "99999999999-A1_1.2.3.4_3_20240101120000.ts", ""})
        EXPECT_EQ(-1, number(name));
    EXPECT_EQ("", BasicTool::getDateString(std::string("A1_1.2.3.4_3_2024.ts")));
    EXPECT_EQ("", BasicTool::getDateString(std::string("recycleBin")));
    int value = 42;
    EXPECT_FALSE(BasicTool::getNumber("12", 0, 5, value));  // runs past the end
    EXPECT_FALSE(BasicTool::getNumber(std::string("2147483648"), value));
    EXPECT_TRUE(BasicTool::getNumber("ab0123cd", 2, 4, value));
    EXPECT_EQ(123, value);
}

TEST_F(BasicToolTest, DatesFollowLocalTimeAndParseWithoutRangeCheck) {
    EXPECT_EQ("2023-12-31", BasicTool::getDateString(static_cast<long long>(kNoonNewYear - 43201)));
    setenv("TZ", "UTC-14", 1);  // fourteen hours east: already the next day
    tzset();
    EXPECT_EQ("2024-01-02", BasicTool::getDateString(static_cast<long long>(kNoonNewYear)));
    EXPECT_TRUE(BasicTool::isRecordDateValid("2024-13-99"));
    EXPECT_FALSE(BasicTool::isRecordDateValid("2024-01"));
    OVDateTime dateTime;
    dateTime.hour = 7;
    ASSERT_TRUE(BasicTool::getDateByDateString("2024-03-05", dateTime));
    EXPECT_EQ(7, dateTime.hour);  // only the date is touched
    EXPECT_EQ(5, dateTime.day);
    EXPECT_FALSE(BasicTool::getDateByDateString("empty", dateTime));
    EXPECT_FALSE(BasicTool::isInCondition("2024-01-02", "1970-01-01", "2024-01-01"));  // before the first day
    EXPECT_TRUE(BasicTool::isInCondition("2024-01-01", "2024-01-03", "2024-01-03"));
}

// The little-endian coder is checked byte for byte by the index format tests.
TEST_F(BasicToolTest, BigEndianCoderAndNoSignExtensionBelowFourBytes) {
    unsigned char bytes[8] = {};
    BasicTool::toBytes(bytes, -2, 4);
    EXPECT_EQ((std::vector<int>{0xFF, 0xFF, 0xFF, 0xFE}), std::vector<int>(bytes, bytes + 4));
    EXPECT_EQ(-2, BasicTool::toInt(bytes, 4));
    BasicTool::toBytesLE(bytes, -2, 2);
    EXPECT_EQ(0xFFFE, BasicTool::toIntLE(bytes, 2));
}

// A record tree on a real folder, listed through the host's disk manager.
TEST_F(BasicToolTest, TreeListsMatchDevicesAndDatesInTheWindow) {
    TempDir temp;
    for (char const* dir : {"NVR_192.168.1.5_1/2024-01-01", "NVR_192.168.1.5_1/2024-01-02", "NVR_192.168.1.5_1/2024-01-05",
                            "NVR_192.168.1.5_1/notadate", "NVR_192.168.1.5_2/2024-01-03", "NVR_192.168.1.6_1/2024-01-01",
                            "CMS_fe80--1_1/2024-01-01", "empty", "recycleBin", "only_one"})
        ASSERT_TRUE(temp.makeDir(std::string("disk1/record/") + dir));
    ASSERT_TRUE(temp.writeFile("disk1/record/NVR_192.168.1.5_9", ""));  // a file, not a dir
    RecordDirInfoEx info;
    info.setRecordRootDir(temp.path("disk1"));
    auto devices = [&](std::string const& id, std::string const& ip, int camera) {
        Names list;
        EXPECT_TRUE(BasicTool::getMatchDeviceDirList(info, "record", id, ip, camera, list));
        BasicTool::sort(list, true);
        return list;
    };
    auto dates = [&](std::string const& begin, std::string const& end) {
        Names list;
        EXPECT_TRUE(BasicTool::getMatchDateList(info, "record", "NVR_192.168.1.5_1", begin, end, list));
        BasicTool::sort(list, true);
        return list;
    };
    EXPECT_EQ((Names{"CMS_fe80--1_1", "NVR_192.168.1.5_1", "NVR_192.168.1.5_2", "NVR_192.168.1.6_1"}),
              devices("", "", -1));
    EXPECT_EQ((Names{"NVR_192.168.1.5_1", "NVR_192.168.1.5_2"}), devices("", "192.168.1.5", -1));
    EXPECT_EQ((Names{"CMS_fe80--1_1", "NVR_192.168.1.5_1", "NVR_192.168.1.6_1"}), devices("", "", 1));
    // A full key is built and only tested for existence.
    EXPECT_EQ((Names{"CMS_fe80--1_1"}), devices("CMS", "fe80::1", 1));
    EXPECT_TRUE(devices("NVR", "192.168.1.5", 9).empty());
    EXPECT_EQ((Names{"2024-01-01", "2024-01-02", "2024-01-05"}), dates("1970-01-01", "1970-01-01"));
    EXPECT_EQ((Names{"2024-01-02"}), dates("2024-01-02", "2024-01-04"));

    info.setRecordRootDir(temp.path("nodisk"));
    Names list;
    EXPECT_FALSE(BasicTool::getMatchDeviceDirList(info, "record", "", "", -1, list));
    EXPECT_FALSE(BasicTool::getMatchDateList(info, "record", "NVR_192.168.1.5_1", "2024-01-01", "1970-01-01", list));
    EXPECT_TRUE(list.empty());
}

}  // namespace
