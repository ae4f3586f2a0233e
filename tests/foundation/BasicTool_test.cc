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

TEST_F(BasicToolTest, RecordFileNamesRoundTrip) {
    std::string const numbered = BasicTool::getRecordFileName(12, "A1", "192.168.1.5", 3, kNoonNewYear);
    std::string const plain = BasicTool::getRecordFileName(-1, "A1", "192.168.1.5", 3, kNoonNewYear);
    EXPECT_EQ("00012-A1_192.168.1.5_3_20240101120000.ts", numbered);
    EXPECT_EQ("A1_192.168.1.5_3_20240101120000.ts", plain);
    EXPECT_EQ(12, number(numbered));
    EXPECT_EQ(-1, number(plain));
    EXPECT_EQ("2024-01-01", BasicTool::getDateString(numbered));
    unsigned long back = 0;
    EXPECT_TRUE(TimeConvert::strToTime(plain.substr(plain.rfind('_') + 1), back));
    EXPECT_EQ(kNoonNewYear, back);
}

TEST_F(BasicToolTest, FileNumberZeroHasTwoSpellings) {
    // One caller numbers from 0 ("00000-"); the other passes -1 for 0 and
    // gets the plain form. Both name the same file of the same day.
    std::string const zero = BasicTool::getRecordFileName(0, "NVR", "10.0.0.1", 1, kNoonNewYear);
    std::string const none = BasicTool::getRecordFileName(-1, "NVR", "10.0.0.1", 1, kNoonNewYear);
    EXPECT_EQ("00000-" + none, zero);
    EXPECT_EQ(0, number(zero));
    EXPECT_EQ(-1, number(none));
    EXPECT_EQ(BasicTool::getDateString(zero), BasicTool::getDateString(none));
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

TEST_F(BasicToolTest, NamesThatBreakTheGrammar) {
    EXPECT_EQ(-1, number("0a012-A1_1.2.3.4_3_20240101120000.ts"));
    EXPECT_EQ(-1, number("-A1_1.2.3.4_3_20240101120000.ts"));
    EXPECT_EQ(-1, number("99999999999-A1_1.2.3.4_3_20240101120000.ts"));  // above INT_MAX
    EXPECT_EQ(-1, number(""));
    EXPECT_EQ("", BasicTool::getDateString(std::string("A1_1.2.3.4_3_2024.ts")));
    EXPECT_EQ("", BasicTool::getDateString(std::string("recycleBin")));
    int value = 42;
    EXPECT_FALSE(BasicTool::getNumber("12", 0, 5, value));  // runs past the end
    EXPECT_FALSE(BasicTool::getNumber(std::string("2147483648"), value));
    EXPECT_TRUE(BasicTool::getNumber("ab0123cd", 2, 4, value));
    EXPECT_EQ(123, value);
}

TEST_F(BasicToolTest, LockedNameKeepsNumberAndDate) {
    std::string const name = "00012-A1_192.168.1.5_3_20240101120000.ts";
    std::string const locked = BasicTool::getLockedFileName(name);
    EXPECT_EQ(name + "&", locked);
    EXPECT_TRUE(BasicTool::isFileLocked(locked.c_str()));
    EXPECT_FALSE(BasicTool::isFileLocked(name));
    EXPECT_EQ(name, BasicTool::getUnlockedFileName(locked));
    EXPECT_EQ(12, number(locked));
    EXPECT_EQ("2024-01-01", BasicTool::getDateString(locked));
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
    EXPECT_EQ("2024-03-05", BasicTool::getDateString(dateTime));
    EXPECT_FALSE(BasicTool::getDateByDateString("empty", dateTime));
}

TEST_F(BasicToolTest, ByteOrderOfBothCodecs) {
    unsigned char bytes[8] = {};
    BasicTool::toBytes(bytes, 0x01020304, 4);
    EXPECT_EQ(0x01, bytes[0]);
    EXPECT_EQ(0x01020304, BasicTool::toInt(bytes, 4));
    BasicTool::toBytesLE(bytes, 0x0102030405060708LL, 8);
    EXPECT_EQ(0x08, bytes[0]);
    EXPECT_EQ(0x01, bytes[7]);
    EXPECT_EQ(0x0102030405060708LL, BasicTool::toLongLE(bytes, 8));
    BasicTool::toBytesLE(bytes, -2, 2);
    EXPECT_EQ(0xFFFE, BasicTool::toIntLE(bytes, 2));  // no sign extension below 4 bytes
    BasicTool::toBytes(bytes, -1, 4);
    EXPECT_EQ(-1, BasicTool::toInt(bytes, 4));
}

TEST_F(BasicToolTest, SortAndDateWindow) {
    Names dates = {"2024-01-02", "2023-12-31", "2024-01-10"};
    BasicTool::sort(dates, true);
    EXPECT_EQ((Names{"2023-12-31", "2024-01-02", "2024-01-10"}), dates);
    BasicTool::sort(dates, false);
    EXPECT_EQ("2024-01-10", dates.front());
    EXPECT_TRUE(BasicTool::isInCondition("2024-01-01", "1970-01-01", "2024-01-01"));
    EXPECT_FALSE(BasicTool::isInCondition("2024-01-02", "1970-01-01", "2024-01-01"));
    EXPECT_TRUE(BasicTool::isInCondition("2024-01-01", "2024-01-03", "2024-01-03"));
    EXPECT_FALSE(BasicTool::isInCondition("2024-01-01", "2024-01-03", "2024-01-04"));
}

// A record tree on a real folder, listed through the host's disk manager.
class BasicToolTreeTest : public BasicToolTest {
protected:
    void SetUp() override {
        BasicToolTest::SetUp();
        m_dirInfo.setRecordRootDir(m_temp.path("disk1"));
        for (char const* dir :
             {"record/NVR_192.168.1.5_1/2024-01-01", "record/NVR_192.168.1.5_1/2024-01-02",
              "record/NVR_192.168.1.5_1/2024-01-05", "record/NVR_192.168.1.5_1/notadate",
              "record/NVR_192.168.1.5_2/2024-01-03", "record/NVR_192.168.1.6_1/2024-01-01",
              "record/CMS_fe80--1_1/2024-01-01", "record/empty", "record/recycleBin",
              "record/only_one"}) {
            ASSERT_TRUE(m_temp.makeDir(std::string("disk1/") + dir));
        }
        ASSERT_TRUE(m_temp.writeFile("disk1/record/NVR_192.168.1.5_9", ""));  // a file, not a dir
    }

    Names devices(std::string const& id, std::string const& ip, int camera) {
        Names list;
        EXPECT_TRUE(BasicTool::getMatchDeviceDirList(m_dirInfo, "record", id, ip, camera, list));
        BasicTool::sort(list, true);
        return list;
    }

    Names dates(std::string const& begin, std::string const& end) {
        Names list;
        EXPECT_TRUE(BasicTool::getMatchDateList(m_dirInfo, "record", "NVR_192.168.1.5_1", begin, end, list));
        BasicTool::sort(list, true);
        return list;
    }

    TempDir m_temp;
    RecordDirInfoEx m_dirInfo;
};

TEST_F(BasicToolTreeTest, MatchesDevicesByEachField) {
    EXPECT_EQ((Names{"CMS_fe80--1_1", "NVR_192.168.1.5_1", "NVR_192.168.1.5_2", "NVR_192.168.1.6_1"}),
              devices("", "", -1));
    EXPECT_EQ((Names{"NVR_192.168.1.5_1", "NVR_192.168.1.5_2"}), devices("", "192.168.1.5", -1));
    EXPECT_EQ((Names{"CMS_fe80--1_1", "NVR_192.168.1.5_1", "NVR_192.168.1.6_1"}), devices("", "", 1));
    EXPECT_EQ((Names{"CMS_fe80--1_1"}), devices("CMS", "fe80::1", -1));
    EXPECT_TRUE(devices("IPC", "", -1).empty());
    // A full key is built and only tested for existence.
    EXPECT_EQ((Names{"NVR_192.168.1.5_2"}), devices("NVR", "192.168.1.5", 2));
    EXPECT_EQ((Names{"CMS_fe80--1_1"}), devices("CMS", "fe80::1", 1));
    EXPECT_TRUE(devices("NVR", "192.168.1.5", 9).empty());
}

TEST_F(BasicToolTreeTest, DateListsKeepValidDatesInTheWindow) {
    EXPECT_EQ((Names{"2024-01-01", "2024-01-02", "2024-01-05"}), dates("1970-01-01", "1970-01-01"));
    EXPECT_EQ((Names{"2024-01-02"}), dates("2024-01-02", "2024-01-04"));
    EXPECT_EQ((Names{"2024-01-02", "2024-01-05"}), dates("2024-01-02", "1970-01-01"));
}

TEST_F(BasicToolTreeTest, MissingFolderIsAListingFailure) {
    RecordDirInfoEx missing;
    missing.setRecordRootDir(m_temp.path("nodisk"));
    Names list;
    EXPECT_FALSE(BasicTool::getMatchDeviceDirList(missing, "record", "", "", -1, list));
    EXPECT_FALSE(BasicTool::getMatchDateList(missing, "record", "NVR_192.168.1.5_1", "2024-01-01",
                                             "1970-01-01", list));
    EXPECT_TRUE(list.empty());
}

}  // namespace
