#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "snapshot/SnapshotFileIndexWriterEx.h"
#include "snapshot/SnapshotIndexFileParser.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"

namespace {

std::string bytes(std::vector<int> const& values) {
    std::string out;
    for (int v : values) out.push_back(static_cast<char>(v));
    return out;
}

// "x.mjpeg" from 0x03000000 s: the time's fourth byte (03) behind three 00
// gets an escape 03 in front of it.
std::string const kHead = bytes({0, 0, 0, 1, 'x', '.', 'm', 'j', 'p', 'e', 'g', 0x2C, 0, 0, 0, 0x03, 0x03, 0, 0,
                                 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2});
long long const kBegin = 0x03000000LL;
// mask, time stamp (ms from the begin), E0 | burst mode, length (3 bytes)
std::string const kItem1 = bytes({0xF0, 0xDC, 0x05, 0, 0, 0xF2, 0x70, 0x11, 0x01});  // 1500 ms, 18, 70000
std::string const kItem2 = bytes({0xF1, 0xD0, 0x07, 0, 0, 0xE1, 0x0A, 0, 0});        // deleted, 2000 ms, 1, 10
std::string const kItem3 = bytes({0xF0, 0xD0, 0x07, 0, 0, 0xE4, 0x05, 0, 0});        // 2000 ms, 4, 5

class SnapshotIndexTest : public ::testing::Test {
protected:
    RecordingClock clock{kBegin};
    TempDir dir;
    RecordDirInfoEx info;
    std::string const deviceDir = "NVR_10.0.0.7_1";
    std::string const date = "1971-08-06";
    std::string const index = "snapshot/" + deviceDir + "/" + date + "/" + deviceDir + "_" + date + ".index";

    void SetUp() override { info.setRecordRootDir(dir.root()); }
    RecordFileInfo fileOf(std::string const& name, long long begin) {
        RecordFileInfo file;
        file.setDeviceId("NVR");
        file.setDeviceIP("10.0.0.7");
        file.setCameraId(1);
        file.setRecordDate(date);
        file.setRecordFileName(name);
        file.setRecordBeginTime(begin);
        file.setRecordDirInfoEx(info);
        return file;
    }
    SnapshotQueryCondition window(long long from, long long to, int type = 0) {
        SnapshotQueryCondition condition;
        condition.setBeginTime(from);
        condition.setEndTime(to);
        condition.setSnapshotType(type);
        return condition;
    }
};

// A failed item write keeps its items: dropped, they would shift the place
// of every later picture.
TEST_F(SnapshotIndexTest, WriterLaysOutHeadAndItemsByteForByteThroughAFailedWrite) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    SnapshotFileIndexWriterEx writer;
    ASSERT_EQ(0, writer.open(fileOf("x.mjpeg", kBegin), true));
    plan->failWriteAt(1);
    ASSERT_TRUE(writer.addIndex(kBegin * 1000 + 1500, 18, 70000));
    EXPECT_EQ(-704, writer.writeIndex());
    ASSERT_TRUE(writer.addIndex(kBegin * 1000 + 2000, 1, 10));
    EXPECT_FALSE(writer.addIndex(kBegin * 1000 - 1, 1, 10));         // before the begin time
    EXPECT_FALSE(writer.addIndex(kBegin * 1000 + 1, 1, 0x1000000));  // 16 MiB
    writer.close();
    EXPECT_EQ(kHead + kItem1 + bytes({0xF0, 0xD0, 0x07, 0, 0, 0xE1, 0x0A, 0, 0}), dir.readFile(index));

    // Continuing the entry needs its name; items go on behind it.
    ASSERT_EQ(-705, writer.open(fileOf("other.mjpeg", kBegin), false));
    ASSERT_EQ(0, writer.open(fileOf("x.mjpeg", kBegin), false));
    EXPECT_EQ(70010, writer.getSnapshotFileLength());
    EXPECT_EQ(2000, writer.getTimeInterval());
}

TEST_F(SnapshotIndexTest, PositionsQueriesAndDeletionsFollowTheItems) {
    ASSERT_TRUE(dir.writeFile(index, kHead + kItem1 + kItem2 + kItem3 + bytes({0xF0, 1, 2})));  // torn item
    SnapshotIndexFileParserEx parser;
    ASSERT_EQ(1, parser.open(info, date, deviceDir));
    EXPECT_EQ(70015, parser.getTotalFileSize());
    long long const b = kBegin * 1000;

    // A deleted item still holds its data, and the first of equal times wins.
    SafePointer<SnapshotImageDataInfo> image(new SnapshotImageDataInfo());
    parser.getImageDataInfo(b + 2000, image);
    EXPECT_EQ("x.mjpeg", image->getSnapshotFileName());
    EXPECT_EQ(70000, image->getImageFilePos());
    EXPECT_EQ(10, image->getImageDataLen());
    SafePointer<SnapshotImageDataInfo> none(new SnapshotImageDataInfo());
    EXPECT_EQ(1, parser.getImageDataInfo(b + 1999, none));
    EXPECT_EQ(-1, none->getImageDataLen());

    std::vector<SnapshotFile> list;
    parser.query(window(b + 1500, b + 2000), list, 0);  // begin in, end out
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ("NVR_10.0.0.7_1_19710806130049500_2.jpg", list[0].getFileName());  // 18 read as 2
    EXPECT_EQ(70000, list[0].getLength());
    list.clear();
    parser.query(window(b, b + 3000, 4), list, 0);
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ(b + 2000, list[0].getTime());

    EXPECT_EQ(1, parser.deleteImage(b + 2000));  // the first not yet deleted: item 3
    EXPECT_EQ(0, parser.deleteImage(b + 2000));
    EXPECT_EQ(kHead + kItem1 + kItem2 + bytes({0xF1}) + kItem3.substr(1), dir.readFile(index).substr(0, 62));

    bool empty = false;
    EXPECT_EQ(0, parser.deleteFile("y.mjpeg", empty));
    EXPECT_EQ(1, parser.deleteFile("x.mjpeg", empty));
    EXPECT_TRUE(empty);
    EXPECT_EQ(std::string(62, '\xFF') + bytes({0xF0, 1, 2}), dir.readFile(index));
}

TEST_F(SnapshotIndexTest, DamageEndsNoWalkAndATornTailIsPaintedBeforeAppending) {
    std::string noComma = bytes({0, 0, 0, 1, 'z', 0, 0, 0, 2});
    ASSERT_TRUE(dir.writeFile(index, bytes({0x55, 0x66}) + noComma + kHead + kItem1 + bytes({0, 0, 0, 1}) + std::string(56, 'y')));
    SnapshotFileIndexWriterEx writer;
    ASSERT_EQ(0, writer.open(fileOf("n.mjpeg", kBegin + 5), true));
    ASSERT_TRUE(writer.addIndex((kBegin + 5) * 1000, 3, 7));
    writer.close();
    std::string const head2 = bytes({0, 0, 0, 1, 'n', '.', 'm', 'j', 'p', 'e', 'g', 0x2C, 5, 0, 0, 0x03, 0, 0, 0, 0,
                                     0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2});  // 05 00 00 03: no escape
    std::string const prefix = bytes({0x55, 0x66}) + noComma + kHead + kItem1;
    EXPECT_EQ(prefix + head2 + bytes({0xF0, 0, 0, 0, 0, 0xE3, 7, 0, 0}) + std::string(60 - 43, '\xFF'), dir.readFile(index));

    SnapshotIndexFileParserEx parser;
    ASSERT_EQ(1, parser.open(info, date, deviceDir));
    EXPECT_EQ(2, parser.getFileNum());
    RecordFileInfo last;
    ASSERT_EQ(0, parser.getLastestFileInfo(last));
    EXPECT_EQ("n.mjpeg", last.getRecordFileName());
    int size = 0, offset = 0, length = 0;
    ASSERT_EQ(0, parser.getFileLenAndIndexInfo(size, offset, length));
    EXPECT_EQ(7, size);
    EXPECT_EQ(static_cast<int>(prefix.size()), offset);
    EXPECT_EQ(43, length);
    EXPECT_EQ(0, SnapshotIndexFileParserEx().open(info, "1971-08-07", deviceDir));  // no index: an empty date
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    plan->failOpenAt(1);  // a disk that only reads still answers
    ASSERT_EQ(1, parser.open(info, date, deviceDir));
    EXPECT_EQ(2, parser.getFileNum());
}

TEST_F(SnapshotIndexTest, OldItemsReadFromMidnightAndDeleteWithTheirImageFile) {
    // valid, time stamp (ms from midnight), burst mode, image size
    std::string const items = bytes({0xFF, 0x10, 0x27, 0, 0, 2, 0x64, 0, 0, 0}) +   // 10 s, 2, 100
                              bytes({0x00, 0x20, 0x4E, 0, 0, 2, 0x64, 0, 0, 0}) +   // deleted
                              bytes({0xFF, 0x39, 0x30, 0, 0, 1, 0x05, 1, 0, 0});    // 12.345 s, 1, 261
    ASSERT_TRUE(dir.writeFile(index, items + bytes({0xFF, 1})));
    std::string const image = "snapshot/" + deviceDir + "/" + date + "/19710806000010000_01.jpg";
    ASSERT_TRUE(dir.writeFile(image, "jpeg"));
    SnapshotIndexFileParser parser;
    ASSERT_EQ(1, parser.open(info, date, deviceDir));
    long long const midnight = SnapshotIndexFileParser::getZeroTimeStamp(date) * 1000;
    EXPECT_EQ(361, parser.getTotalFileSize());
    std::vector<SnapshotFile> list;
    parser.query(window(midnight + 10000, midnight + 12345), list);
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ("19710806000010000_01.jpg", list[0].getFileName());
    EXPECT_EQ(100, list[0].getLength());

    EXPECT_EQ(1, parser.deleteFile("19710806000010000_01.jpg"));
    EXPECT_EQ(bytes({0x00}) + items.substr(1) + bytes({0xFF, 1}), dir.readFile(index));
    EXPECT_FALSE(dir.exists(image));
    list.clear();
    parser.query(window(midnight, midnight + 86400000, 1), list);
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ(261, list[0].getLength());
}

}  // namespace
