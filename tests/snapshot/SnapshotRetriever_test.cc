#include "snapshot/SnapshotRetriever.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "foundation/ReturnCode.h"
#include "host/HostClock.h"
#include "snapshot/SnapshotDiskManagerImplEx.h"
#include "snapshot/SnapshotIndexItem.h"
#include "snapshot/SnapshotRetrieverImpl.h"
#include "snapshot/SnapshotStorageEx.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/SnapshotTestDisks.h"
#include "tests/support/TestRecording.h"

namespace {

long long const kNow = 1709640000;        // 2024-03-05 12:00:00 UTC
long long const kDayB = kNow * 1000;      // ms, on hd1
long long const kDayA = kDayB - 86400000;  // the day before, on hd2
using Names = std::vector<std::string>;

// The handle a query gives for the test channel's picture at ms (UTC).
std::string nameAt(long long ms, int burst = 1) {
    time_t const seconds = static_cast<time_t>(ms / 1000);
    tm date;
    gmtime_r(&seconds, &date);
    char name[64];
    size_t const length = std::strftime(name, sizeof name, "NVR_10.0.0.7_1_%Y%m%d%H%M%S", &date);
    std::snprintf(name + length, sizeof name - length, "%03lld_%d.jpg", ms % 1000, burst);
    return name;
}

// Day A: pictures 1 and 2 on hd2. Day B on hd1: picture 3 in one data file,
// pictures 4 and 5 of burst mode 2 in a second.
class SnapshotRetrieverTest : public ::testing::Test {
protected:
    RecordingClock clock{kNow};
    HostRootGuard host;
    SnapshotTestDisks disks{{"hd1", "hd2"}, 1 << 20};
    SnapshotRetriever retriever;

    void SetUp() override {
        record(1, {{kDayA, 1}, {kDayA + 1000, 2}});
        record(0, {{kDayB, 3}});
        record(0, {{kDayB + 1000, 4}, {kDayB + 2000, 5}}, 2);  // another burst mode: another data file
    }
    void record(size_t disk, std::vector<std::pair<long long, int>> const& pictures, int burst = 1) {
        SnapshotDiskManagerImplEx::getInstance()->setRecordDirInfoList({disks.dir(disk)});
        SnapshotDiskManagerImplEx::getInstance()->setDirPolicyThread();
        SnapshotStorageEx session;
        session.open(SnapshotTestDisks::channel(), false);
        for (auto const& picture : pictures) {
            std::string const bytes = SnapshotTestDisks::picture(picture.second);
            TSAVData data;
            data.setData(bytes.data(), static_cast<unsigned int>(bytes.size()));
            data.setTimeStamp(picture.first * 1000);
            ASSERT_EQ(0, session.write(burst, &data));
        }
    }
    Names query(long long begin, long long end) {
        std::vector<SnapshotFile> files;
        EXPECT_EQ(0, retriever.query(SnapshotTestDisks::condition(begin, end), files));
        Names names;
        for (SnapshotFile const& file : files) names.push_back(file.getFileName());
        return names;
    }
    // The picture of a handle read in pieces of 7000 bytes, up to the 0 at its end.
    std::string read(std::string const& name) {
        int const code = retriever.open(name.c_str());
        if (code != 0) return "open " + std::to_string(code);
        std::string bytes;
        char piece[7000];
        for (int n; (n = retriever.read(piece, sizeof piece)) > 0;) bytes.append(piece, n);
        retriever.close();
        return bytes;
    }
};

TEST_F(SnapshotRetrieverTest, QueryGoesDiskByDiskAndEachHandleReadsItsPictureInPieces) {
    Names const all = query(kDayA, kDayB + 86400000);
    EXPECT_EQ((Names{nameAt(kDayB), nameAt(kDayB + 1000, 2), nameAt(kDayB + 2000, 2), nameAt(kDayA), nameAt(kDayA + 1000)}),
              all);
    EXPECT_EQ("NVR_10.0.0.7_1_20240305120000000_1.jpg", all[0]);
    EXPECT_EQ(Names{nameAt(kDayB + 1000, 2)}, query(kDayB + 1000, kDayB + 2000));  // the end is left out
    int const order[] = {3, 4, 5, 1, 2};
    for (size_t i = 0; i < all.size(); ++i) EXPECT_TRUE(SnapshotTestDisks::picture(order[i]) == read(all[i])) << all[i];
    char byte = 0;
    EXPECT_EQ(OV_RECORD_PICTURE_NOT_OPEN, retriever.read(&byte, 1));
    for (std::string const& name : {std::string("garbage.jpg"), nameAt(kDayB + 500)})
        EXPECT_EQ(OV_RECORD_PICTURE_OPEN_FAILED, retriever.open(name.c_str())) << name;
}

// One session stays open while the clock crosses midnight: each picture
// lies in its own date's folder, and every handle a query gives reads back.
TEST_F(SnapshotRetrieverTest, PicturesOfASessionOpenOverMidnightReadBackFromTheirHandles) {
    long long const midnight = kDayB + 43200000;
    std::map<long long, std::string> const pictures = {{midnight - 1000, SnapshotTestDisks::picture(1)},
                                                       {midnight, SnapshotTestDisks::picture(2)},
                                                       {midnight + 312000, SnapshotTestDisks::picture(5)}};
    SnapshotStorageEx session;
    session.open(SnapshotTestDisks::channel(), false);
    HostClock::shift(43199);
    for (auto const& picture : pictures) {
        if (picture.first == midnight) HostClock::shift(1);
        TSAVData data;
        data.setData(picture.second.data(), static_cast<unsigned int>(picture.second.size()));
        data.setTimeStamp(picture.first * 1000);
        ASSERT_EQ(0, session.write(1, &data)) << picture.first;
    }
    session.close();
    EXPECT_EQ(pictures.begin()->second, SnapshotTestDisks::stored(disks.dir(0), "2024-03-05")[midnight - 1000]);
    EXPECT_EQ((std::map<long long, std::string>(std::next(pictures.begin()), pictures.end())),
              SnapshotTestDisks::stored(disks.dir(0), "2024-03-06"));
    Names expected;
    for (auto const& picture : pictures) expected.push_back(nameAt(picture.first));
    EXPECT_EQ(expected, query(midnight - 1000, midnight + 86400000));
    EXPECT_EQ(Names(expected.begin() + 1, expected.end()), query(midnight, midnight + 86400000));
    for (auto const& picture : pictures)
        EXPECT_TRUE(picture.second == read(nameAt(picture.first))) << nameAt(picture.first);
}

TEST_F(SnapshotRetrieverTest, DeletionHidesPicturesAndGivesEmptiedDataFilesBackToThePool) {
    EXPECT_EQ(0, retriever.deleteSnapshotFile(Names{nameAt(kDayB + 1000, 2)}));
    EXPECT_EQ((Names{nameAt(kDayB), nameAt(kDayB + 2000, 2)}), query(kDayB, kDayB + 3000));
    EXPECT_TRUE(SnapshotTestDisks::picture(4) == read(nameAt(kDayB + 1000, 2)));  // its bytes are still there
    std::string const first = "hd1/snapshot/NVR_10.0.0.7_1/2024-03-05/NVR_10.0.0.7_1_20240305120000.mjpeg";
    ASSERT_TRUE(disks.root().exists(first));
    EXPECT_EQ(0, retriever.deleteSnapshotFile(SnapshotTestDisks::condition(kDayB, kDayB + 999)));
    EXPECT_FALSE(disks.root().exists(first));
    EXPECT_EQ(OV_RECORD_PICTURE_OPEN_FAILED, retriever.open(nameAt(kDayB).c_str()));
    // The newest data file may still be written: its pictures go, the file stays.
    EXPECT_EQ(0, retriever.deleteSnapshotFile(SnapshotTestDisks::condition(kDayB, kDayB + 86400000)));
    EXPECT_EQ(Names{}, query(kDayB, kDayB + 86400000));
    EXPECT_TRUE(SnapshotTestDisks::picture(5) == read(nameAt(kDayB + 2000, 2)));
    int entries = 0;
    SnapshotTestDisks::stored(disks.dir(0), "2024-03-05", &entries);
    EXPECT_EQ(1, entries);
}

TEST_F(SnapshotRetrieverTest, DisabledDirectoriesStillGiveTheirPicturesAndNoneGivesNoDirectory) {
    RecordDirInfo hd1 = RecordDirInfoEx::changeToRecordDirInfo(disks.dir(0));
    RecordDirInfo hd2 = RecordDirInfoEx::changeToRecordDirInfo(disks.dir(1));
    hd1.setEnableFlag(false);
    SnapshotRetriever::setSnapshotDirList({hd1, hd2});
    EXPECT_EQ((Names{nameAt(kDayA), nameAt(kDayA + 1000), nameAt(kDayB)}), query(kDayA, kDayB + 1));
    SnapshotRetriever::setSnapshotDirList({});
    std::vector<SnapshotFile> files;
    EXPECT_EQ(OV_RECORD_NO_DIR, retriever.query(SnapshotTestDisks::condition(kDayA, kDayB), files));
    EXPECT_EQ(OV_RECORD_NO_DIR, retriever.open(nameAt(kDayB).c_str()));
    EXPECT_EQ(OV_RECORD_NO_DIR, retriever.deleteSnapshotFile(Names{nameAt(kDayB)}));
}

// An old-generation disk: a flat index of 10-byte items and one image file
// per picture, named by its time and camera.
TEST(SnapshotRetrieverImpl, ReadsOldGenerationDisksAndDropsItemsWhoseImageIsGone) {
    RecordingClock clock(kNow);
    TempDir root;
    std::string const dateDir = "snapshot/NVR_10.0.0.7_1/2024-03-05/";
    // 12:00:00.250, burst mode 1, 49575 bytes, by hand.
    std::string index("\xFF\xFA\x2E\x93\x02\x01\xA7\xC1\x00\x00", 10);
    SnapshotIndexItem deleted(43201000, 1, 5);
    index += std::string(reinterpret_cast<char const*>(deleted.getData()), 10);
    index[10] = '\0';
    SnapshotIndexItem second(43202000, 2, static_cast<unsigned int>(SnapshotTestDisks::picture(2).size()));
    index += std::string(reinterpret_cast<char const*>(second.getData()), 10);
    ASSERT_TRUE(root.writeFile(dateDir + "NVR_10.0.0.7_1_2024-03-05.index", index));
    ASSERT_TRUE(root.writeFile(dateDir + "20240305120000250_01.jpg", SnapshotTestDisks::picture(1)));
    RecordDirInfoEx dir;
    dir.setRecordRootDir(root.root());
    dir.setDiskType(1);

    EXPECT_EQ(OV_RECORD_NO_DIR, SnapshotRetrieverImpl({}).open("20240305120000250_01.jpg"));
    SnapshotRetrieverImpl old({dir});
    std::vector<SnapshotFile> files;
    ASSERT_EQ(0, old.query(SnapshotTestDisks::condition(kDayB - 43200000, kDayB + 43200000), files));
    ASSERT_EQ(2u, files.size());
    EXPECT_EQ("20240305120000250_01.jpg", files[0].getFileName());
    EXPECT_EQ(kDayB + 250, files[0].getTime());
    ASSERT_EQ(0, old.open(files[0].getFileName().c_str()));
    std::string bytes;
    char piece[5000];
    for (int n; (n = old.read(piece, sizeof piece)) > 0;) bytes.append(piece, n);
    EXPECT_TRUE(SnapshotTestDisks::picture(1) == bytes);
    EXPECT_EQ(OV_RECORD_PICTURE_NO_DIR, old.open("2024030512000025_01.jpg"));  // 16 digits
    EXPECT_EQ(OV_RECORD_PICTURE_NO_DIR, old.open(files[1].getFileName().c_str()));
    files.clear();
    old.query(SnapshotTestDisks::condition(kDayB - 43200000, kDayB + 43200000), files);
    EXPECT_EQ(1u, files.size());
}

}  // namespace
