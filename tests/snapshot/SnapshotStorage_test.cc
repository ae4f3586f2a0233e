#include "snapshot/SnapshotStorageEx.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "foundation/ReturnCode.h"
#include "host/HostClock.h"
#include "recording/TSFrameQueue.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/FfprobeCheck.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/SnapshotTestDisks.h"
#include "tests/support/TestRecording.h"

namespace {

long long const kNow = 1709640000;  // 2024-03-05 12:00:00 UTC
long long const kT0 = kNow * 1000;  // ms
char const* const kDate = "2024-03-05";
using Pictures = std::map<long long, std::string>;

class SnapshotStorageTest : public ::testing::Test {
protected:
    RecordingClock clock{kNow};
    HostRootGuard host;
    std::shared_ptr<FaultPlan> plan;
    std::unique_ptr<FaultInjection> faults;
    std::unique_ptr<SnapshotTestDisks> disks;
    std::unique_ptr<SnapshotStorageEx> session;
    Pictures offered;  // every picture given to write, by time

    void SetUp() override { serve(1 << 20); }
    // A fresh disk, fault plan and session.
    void serve(long long fileSize) {
        session.reset();
        disks.reset();
        faults.reset();
        plan = std::make_shared<FaultPlan>();
        faults.reset(new FaultInjection(plan));
        disks.reset(new SnapshotTestDisks({"hd1"}, fileSize));
        session.reset(new SnapshotStorageEx());
        session->open(SnapshotTestDisks::channel(), false);
        offered.clear();
    }
    int put(std::string const& bytes, long long ms, bool gap = false) {
        TSAVData data;
        data.setData(bytes.data(), static_cast<unsigned int>(bytes.size()));
        data.setTimeStamp(ms * 1000);
        data.setDiscontinuityIndicator(gap);
        offered[ms] = bytes;
        return session->write(1, &data);
    }
    Pictures stored(int* entries = nullptr) { return SnapshotTestDisks::stored(disks->dir(0), kDate, entries); }
};

TEST_F(SnapshotStorageTest, QueuedPicturesLandWholeInOneDataFileAcrossSessions) {
    TSFrameQueue queue(1 << 20);
    queue.setSnapshot(true);
    for (int n = 1; n <= 5; ++n) {
        AVData frame;
        frame.setESStreamType(1);
        frame.setEncoderType(2);
        frame.setFrameType(1);
        frame.setTimeStamp((kNow + n) * 1000000LL + 250000);
        std::string const bytes = SnapshotTestDisks::picture(n);
        frame.setData(bytes.data(), static_cast<unsigned int>(bytes.size()));
        offered[kT0 + n * 1000 + 250] = bytes;
        ASSERT_EQ(0, queue.pushAVData(&frame));
    }
    TSAVData* out = nullptr;
    for (int n = 1; queue.frontAVData(&out); ++n) {
        EXPECT_EQ(0, session->write(1, out));
        queue.popAVData();
        if (n == 2) {  // a new session goes on in the channel's last data file
            session->close();
            session->open(SnapshotTestDisks::channel(), false);
        }
    }
    session->close();
    int entries = 0;
    EXPECT_EQ(offered, stored(&entries));
    EXPECT_EQ(1, entries);
    std::string const dateDir = "hd1/snapshot/NVR_10.0.0.7_1/2024-03-05/";
    EXPECT_EQ(1 << 20, disks->root().fileSize(dateDir + "NVR_10.0.0.7_1_20240305120001.mjpeg"));
    // The first item: valid, 250 ms from the entry's begin, burst mode 1, 49575 bytes.
    std::string const index = disks->root().readFile(dateDir + "NVR_10.0.0.7_1_2024-03-05.index");
    size_t const head = index.find(std::string("\0\0\0\2", 4)) + 4;
    EXPECT_EQ(std::string("\xF0\xFA\x00\x00\x00\xE1\xA7\xC1\x00", 9), index.substr(head, 9));
    if (!FfprobeCheck::available()) return;
    for (auto const& picture : offered) {
        ASSERT_TRUE(disks->root().writeFile("out.jpg", stored()[picture.first]));
        EXPECT_EQ(std::vector<std::string>{"mjpeg"}, FfprobeCheck::codecNames(disks->root().path("out.jpg")));
        EXPECT_EQ("", FfprobeCheck::decodeErrors(disks->root().path("out.jpg")));
    }
}

TEST_F(SnapshotStorageTest, SizeTimeAndGapRulesEndFilesAndTheRefusedPictureOpensTheNext) {
    serve(0xA00000 - 1);  // data files exactly as long as the longest picture
    std::string const longest(0xA00000 - 1, 'L');
    struct Step {
        std::string bytes;
        long long ms;
        bool gap;
        int code;
        int entries;
        int requestType;
    } const steps[] = {
        {longest + "!", kT0, false, OV_RECORD_WRITE_FAILED, 0, 1},  // 10 MiB: refused at once
        {longest, kT0, false, 0, 1, 1},                             // fills the file exactly
        {"a", kT0 + 1000, false, 0, 2, 6},                          // full: next file
        {"b", kT0 + 1000, false, 0, 2, 6},                          // same millisecond
        {"c", kT0 + 999, false, 0, 3, 5},                           // earlier: next file
        {"d", kT0 + 2000, true, 0, 4, 5},                           // gap: next file
    };
    for (Step const& step : steps) {
        EXPECT_EQ(step.code, put(step.bytes, step.ms, step.gap)) << step.ms;
        EXPECT_EQ(step.requestType, session->getRequestType()) << step.ms;
        int entries = 0;
        stored(&entries);
        EXPECT_EQ(step.entries, entries) << step.ms;
    }
    session->close();
    EXPECT_EQ((Pictures{{kT0, longest}, {kT0 + 999, "c"}, {kT0 + 1000, "a"}, {kT0 + 2000, "d"}}), stored());
    EXPECT_EQ("ab", disks->root().readFile("hd1/snapshot/NVR_10.0.0.7_1/2024-03-05/NVR_10.0.0.7_1_20240305120001.mjpeg")
                        .substr(0, 2));
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, put("e", kT0 + 3000));  // closed
}

// Pictures 1 and 3 around a fault at the write of picture 2; the disk
// comes back before picture 3.
TEST_F(SnapshotStorageTest, AFailingDiskGivesItsCodeAndLeavesWholePicturesIndexed) {
    struct Case {
        char const* name;
        std::function<void(FaultPlan&)> arm;
        int code;
        std::vector<int> kept;
        int entries;
    } const cases[] = {
        {"error", [](FaultPlan& p) { p.failWriteAt(1); }, 0, {1, 2, 3}, 2},  // offered again to a new file
        {"short write", [](FaultPlan& p) { p.shortWriteAt(1, 100); }, 0, {1, 2, 3}, 1},
        {"exception", [](FaultPlan& p) { p.throwOnWriteAt(1); }, OV_RECORD_IO_ERROR, {1, 3}, 2},
        // Nothing of picture 1 was synced when the disk went.
        {"vanished", [](FaultPlan& p) { p.vanish(); }, OV_RECORD_CREATE_INDEX_FAILED, {3}, 2},
    };
    for (Case const& c : cases) {
        serve(1 << 20);
        ASSERT_EQ(0, put(SnapshotTestDisks::picture(1), kT0)) << c.name;
        c.arm(*plan);
        EXPECT_EQ(c.code, put(SnapshotTestDisks::picture(2), kT0 + 1000)) << c.name;
        plan->restore();
        EXPECT_EQ(0, put(SnapshotTestDisks::picture(3), kT0 + 2000)) << c.name;
        session->close();
        Pictures expected;
        for (int n : c.kept) expected[kT0 + (n - 1) * 1000] = offered[kT0 + (n - 1) * 1000];
        int entries = 0;
        EXPECT_EQ(expected, stored(&entries)) << c.name;
        EXPECT_EQ(c.entries, entries) << c.name;
    }
}

// The power goes at each call in turn: pictures, a 20 s flush, more
// pictures, close. Whatever the index names afterwards is the picture
// written at that time, byte for byte.
TEST_F(SnapshotStorageTest, APowerCutAtAnyCallLeavesNoItemWithoutItsPicture) {
    for (int n = 1; n < 200; ++n) {
        serve(1 << 20);
        plan->powerCutAtCall(n);
        for (int i = 1; i <= 4; ++i) {
            if (i == 3) HostClock::shift(21);
            put(SnapshotTestDisks::picture(i), kT0 + i * 1000);
        }
        session->close();
        bool const cut = plan->hasPowerCutFired();
        plan->restore();
        Pictures const now = stored();
        for (auto const& picture : now) EXPECT_EQ(offered[picture.first], picture.second) << "cut at " << n;
        if (cut) continue;
        EXPECT_EQ(offered, now);
        return;
    }
    FAIL() << "the power cut never stopped firing";
}

TEST_F(SnapshotStorageTest, AFullItemBufferIsWrittenOnlyBehindItsSyncedPictures) {
    for (int i = 0; i < 120; ++i) ASSERT_EQ(0, put("picture " + std::to_string(i), kT0 + i));
    plan->powerCut();
    Pictures const now = stored();
    EXPECT_EQ(113u, now.size());  // 1024 bytes of 9-byte items
    for (auto const& picture : now) EXPECT_EQ(offered[picture.first], picture.second);
    // A close whose data sync fails leaves the items of the unsynced ones out.
    plan->failFlushAt(1);
    session->close();
    plan->powerCut();
    EXPECT_EQ(now, stored());
}

// A power cut between giving a data file back and removing its entry
// leaves an entry without its file: a new file of that name replaces it.
TEST_F(SnapshotStorageTest, ANewDataFileTakesTheNameOfAnEntryWhoseFileIsGone) {
    ASSERT_EQ(0, put(SnapshotTestDisks::picture(1), kT0));
    session->close();
    ASSERT_EQ(0, std::remove(disks->root().path("hd1/snapshot/NVR_10.0.0.7_1/2024-03-05/"
                                                "NVR_10.0.0.7_1_20240305120000.mjpeg").c_str()));
    session->open(SnapshotTestDisks::channel(), false);
    ASSERT_EQ(0, put(SnapshotTestDisks::picture(2), kT0 + 500));
    session->close();
    int entries = 0;
    EXPECT_EQ((Pictures{{kT0 + 500, offered[kT0 + 500]}}), stored(&entries));
    EXPECT_EQ(1, entries);
}

}  // namespace
