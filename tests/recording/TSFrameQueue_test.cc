#include "recording/TSFrameQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <set>
#include <thread>
#include <vector>

#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "tests/support/FfprobeCheck.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestStreams.h"
#include "tests/support/TsPacketReader.h"

namespace {

using Results = std::vector<int>;
using Pts = std::vector<long long>;
constexpr long long kSecond = 1000000;
constexpr long long kT0 = 1704110400LL * kSecond;  // 2024-01-01 12:00:00 UTC
constexpr int kVideoPid = 0x100;
constexpr int kAudioPid = 0x101;

// A frame whose bytes begin with "#<tag>#" when a tag is given, so that what
// comes out can be told apart.
AVData frame(int es, int type, long long time, size_t length, int tag = 0) {
    std::string bytes(length, type == 1 ? 'I' : es == 1 ? 'P' : 'a');
    std::string const label = "#" + std::to_string(tag) + "#";
    if (tag != 0) bytes.replace(0, std::min(label.size(), length), label.substr(0, length));
    AVData f;
    f.setData(bytes.data(), static_cast<unsigned int>(length));
    f.setESStreamType(es);
    f.setFrameType(type);
    f.setEncoderType(es == 1 ? 1 : 102);
    f.setImageWidth(640);
    f.setImageHeight(360);
    f.setTimeStamp(time);
    return f;
}
AVData iFrame(long long time, size_t length = 2000, int tag = 0) { return frame(1, 1, time, length, tag); }
AVData pFrame(long long time, size_t length = 500, int tag = 0) { return frame(1, 2, time, length, tag); }
AVData audio(long long time, size_t length = 160) { return frame(2, 1, time, length); }

std::string bytesOf(TSAVData const* block) { return std::string(block->getData(), block->getDataLength()); }
std::string text(std::vector<char> const& bytes) { return std::string(bytes.begin(), bytes.end()); }
int tagOf(std::vector<char> const& payload) {
    return payload.size() > 1 && payload[0] == '#' ? std::atoi(text(payload).c_str() + 1) : 0;
}
std::string log(char const* name) { return TempDir::readWhole(HostPaths::getLogDir() + "/" + name + ".log"); }

// TZ for its lifetime.
struct ZoneGuard {
    explicit ZoneGuard(char const* zone)
        : old(std::getenv("TZ") ? new std::string(std::getenv("TZ")) : nullptr) {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneGuard() { (old ? setenv("TZ", old->c_str(), 1) : unsetenv("TZ")), tzset(); }
    std::unique_ptr<std::string> const old;
};

class TSFrameQueueTest : public ::testing::Test {
protected:
    Results push(TSFrameQueue& queue, std::vector<AVData> const& frames) {
        Results results;
        for (AVData const& f : frames) results.push_back(queue.pushAVData(&f));
        return results;
    }
    Results push(std::vector<AVData> const& frames) { return push(m_queue, frames); }

    // The front block, popped (its bytes in m_bytes); null when there is none.
    // Given-up space is popped on the way.
    TSAVData const* take(TSFrameQueue& queue) {
        TSAVData* out = nullptr;
        while (queue.frontAVData(&out) && out == nullptr) queue.popAVData();
        if (out == nullptr) return nullptr;
        m_taken = *out;
        m_bytes = bytesOf(out);
        m_taken.setData(m_bytes.data(), static_cast<unsigned int>(m_bytes.size()));
        queue.popAVData();
        return &m_taken;
    }
    TSAVData const* take() { return take(m_queue); }
    std::vector<TsPacketReader::Pes> video() const { return TsPacketReader(m_bytes).getPes(kVideoPid); }
    // Of every block that can be taken: the discontinuity flags; the tag of
    // its first frame; the PTS of every video frame (and the PCRs in m_pcrs).
    std::vector<bool> takeRuns(TSFrameQueue& queue) {
        std::vector<bool> runs;
        while (TSAVData const* block = take(queue)) runs.push_back(block->getDiscontinuityIndicator());
        return runs;
    }
    Results takeTags(TSFrameQueue& queue) {
        Results tags;
        while (take(queue)) tags.push_back(tagOf(video().at(0).payload));
        return tags;
    }
    Pts takePts() {
        Pts pts;
        m_pcrs.clear();
        while (take()) {
            TsPacketReader const in(m_bytes);
            for (TsPacketReader::Pes const& pes : in.getPes(kVideoPid)) pts.push_back(pes.nPts);
            m_pcrs.insert(m_pcrs.end(), in.getPcrs().begin(), in.getPcrs().end());
        }
        return pts;
    }

    ZoneGuard m_zone{"UTC0"};
    HostRootGuard m_root;
    TSFrameQueue m_queue{4 * 1024 * 1024};
    TSAVData m_taken;
    std::string m_bytes;
    Pts m_pcrs;
};

// Waiting for an I frame at first; dropping P frames for 10 s without one,
// until the next one: audio runs on, but no P frame gets in behind the hole.
TEST_F(TSFrameQueueTest, OnlyAnIFrameEntersAtFirstOrAfterTenSecondsWithoutOne) {
    AVData empty;
    AVDataEX emptyEx;
    EXPECT_EQ((Results{1, 1}), (Results{m_queue.pushAVData(&empty), m_queue.pushAVData(&emptyEx)}));
    EXPECT_EQ((Results{-1, -1}), push({pFrame(kT0), audio(kT0)}));
    EXPECT_EQ(1u, m_queue.getFrameQueueLost());  // video only
    EXPECT_EQ(1u, m_queue.getIFrameLost());      // the audio frame is of type 1
    m_queue.setIFrameTimeStampInterval(60);
    m_queue.setCommonFileFlag(true);
    EXPECT_EQ((Results{0, 0}), push({iFrame(kT0 + 40000), audio(kT0 + 40000)}));
    for (int s = 1; s <= 10; ++s) EXPECT_EQ(Results{0}, push({pFrame(kT0 + 40000 + s * kSecond)}));
    EXPECT_EQ((Results{-1, -1, 0, -1}), push({pFrame(kT0 + 10040001), pFrame(kT0 + 10080000),
                                              audio(kT0 + 10080000), pFrame(kT0 + 10120000)}));
    EXPECT_EQ(4u, m_queue.getValidLostPFrame());
    EXPECT_EQ((Results{0, 0}), push({iFrame(kT0 + 10160000), pFrame(kT0 + 10200000)}));
}

TEST_F(TSFrameQueueTest, BlockBecomesReadableWhenTheNextOneOpensAndHoldsItsFrames) {
    push({iFrame(kT0), audio(kT0), pFrame(kT0 + 1500000)});
    EXPECT_TRUE(m_queue.isEmpty());
    push({iFrame(kT0 + 2000000), pFrame(kT0 + 3501000), iFrame(kT0 + 4000000)});
    AVData raw;  // a copy of the front block, or of the only one
    EXPECT_FALSE(m_queue.frontLastAVData(&raw));
    EXPECT_TRUE(m_queue.frontAVData(&raw));
    TSAVData const* block = take();
    EXPECT_EQ(m_bytes, std::string(raw.getData(), raw.getDataLength()));
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(kT0, block->getTimeStamp());
    EXPECT_EQ(1, block->getDataTimeLength());         // 1.5 s
    EXPECT_TRUE(block->getDiscontinuityIndicator());  // the first run
    TsPacketReader in(m_bytes);
    EXPECT_TRUE(in.getErrors().empty());
    EXPECT_EQ(1u, in.getPes(kAudioPid).size());
    EXPECT_EQ(std::string(2000, 'I'), text(video().at(0).payload));
    EXPECT_EQ((Pts{0, 135000}), (Pts{video().at(0).nPts, video().at(1).nPts}));
    EXPECT_TRUE(m_queue.frontLastAVData(&raw));
    EXPECT_EQ(kT0 + 2000000, raw.getTimeStamp());
    EXPECT_EQ(2, take()->getDataTimeLength());  // 1.501 s rounds up
    EXPECT_EQ(nullptr, take());
}

TEST_F(TSFrameQueueTest, BlockWithoutIFrameIsCutAfterTheIFrameIntervalOrAtOneMebibyte) {
    push({iFrame(kT0), pFrame(kT0 + 3000000)});
    EXPECT_EQ(0, m_queue.getMarkCount());
    push({pFrame(kT0 + 3000001)});
    EXPECT_EQ(kT0, take()->getTimeStamp());
    m_queue.setIFrameTimeStampInterval(60);
    for (int i = 1; m_queue.getMarkCount() == 0; ++i) push({pFrame(kT0 + 3000001 + 40000 * i, 100000)});
    TSAVData const* block = take();
    EXPECT_EQ(kT0 + 3000001, block->getTimeStamp());
    EXPECT_EQ(2, block->getFrameType());
    EXPECT_FALSE(block->getDiscontinuityIndicator());
    EXPECT_GE(block->getDataLength(), 0x100000u);
    EXPECT_LT(block->getDataLength() - 545 * 188, 0x100000u);  // less its last frame of 100000 bytes
}

TEST_F(TSFrameQueueTest, GapOfTenSecondsStartsANewRunUnlessTheFileIsCommon) {
    push({iFrame(kT0), iFrame(kT0 + 9999999), iFrame(kT0 + 19999999), iFrame(kT0 + 30000000)});
    EXPECT_EQ((std::vector<bool>{true, false, true}), takeRuns(m_queue));
    // A P frame cannot open a run: dropped, and the queue waits for an I frame.
    EXPECT_EQ((Results{-1, -1, 0}),
              push({pFrame(kT0 + 40000000), pFrame(kT0 + 40080000), iFrame(kT0 + 40120000)}));
    EXPECT_EQ(kT0 + 30000000, take()->getTimeStamp());
    m_queue.setCommonFileFlag(true);
    push({iFrame(kT0 + 60000000), iFrame(kT0 + 60040000)});
    EXPECT_EQ((std::vector<bool>{true, false}), takeRuns(m_queue));
}

// A new date starts a run at local midnight after a gap of more than a minute;
// a continuous stream crosses midnight in the same run. Rows: UTC, and the two
// daylight saving change days of a zone an hour or two east of it.
TEST_F(TSFrameQueueTest, DateSwitchesAtLocalMidnightAfterMoreThanAMinuteOfGap) {
    struct Row {
        char const* zone;
        long long first;     // the first frame, early on the day
        long long midnight;  // the next local midnight
        char const* log;
    } const rows[] = {
        {"UTC0", 1704110400, 1704153600, "date switch 2024-01-01 23:58:59->2024-01-02 00:00:00"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1711841400, 1711922400,
         "date switch 2024-03-31 23:58:59->2024-04-01 00:00:00"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1729981800, 1730070000,
         "date switch 2024-10-27 23:58:59->2024-10-28 00:00:00"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.log);
        ZoneGuard zone(row.zone);
        TSFrameQueue queue(1024 * 1024);
        queue.setDeviceInfo("NVR", 3);
        queue.setCommonFileFlag(true);  // only the date rule may start a run here
        long long const m = row.midnight * kSecond;
        long long const next = m + 86400 * kSecond;
        push(queue,
             {iFrame(row.first * kSecond), iFrame(m - 1800 * kSecond), iFrame(m - 60 * kSecond - 1),
              iFrame(m), iFrame(m + 40000), iFrame(next - 60 * kSecond), iFrame(next), iFrame(next + 40000)});
        // At midnight itself after 60 s and 1 us; not after exactly 60 s.
        EXPECT_EQ((std::vector<bool>{true, false, false, true, false, false, false}), takeRuns(queue));
        EXPECT_NE(std::string::npos, log("FrameQueueError").find(row.log));
    }
}

TEST_F(TSFrameQueueTest, TimeLineGoesOnInWholeSecondsAfterFifteenSecondsWithoutABlock) {
    push({iFrame(kT0), iFrame(kT0 + 14999999), iFrame(kT0 + 29999999), iFrame(kT0 + 30039999),
          iFrame(kT0 + 30079999)});
    // 14.999999 s on the line; then 15 s after the last block: the next whole second.
    EXPECT_EQ((Pts{0, 1349991, 1350000, 1353600}), takePts());
}

TEST_F(TSFrameQueueTest, RollbackEncoderAndPictureSizeChangesStartRunsThatOnlyAnIFrameOpens) {
    auto changed = [](AVData f, int encoder, int width) {
        f.setEncoderType(encoder);
        f.setImageWidth(width);
        return f;
    };
    EXPECT_EQ((Results{0, 0, -1, 0, -1, 0, -1, 0, 0}),
              push({iFrame(kT0), pFrame(kT0 + 40000), pFrame(kT0 + 20000), iFrame(kT0 + 30000),
                    changed(pFrame(kT0 + 80000), 0, 640), changed(iFrame(kT0 + 120000), 0, 640),
                    changed(pFrame(kT0 + 160000), 0, 1280), changed(iFrame(kT0 + 200000), 0, 1280),
                    iFrame(kT0 + 240000)}));
    Pts first;
    while (TSAVData const* block = take()) {
        EXPECT_TRUE(block->getDiscontinuityIndicator());
        first.push_back(video().at(0).nPts);
    }
    EXPECT_EQ((Pts{0, 0, 0, 7200}), first);  // the time line restarts at a rollback and a new encoder
    EXPECT_EQ(1280, m_taken.getImageWidth());
    EXPECT_EQ(0, m_taken.getEncoderType());
    EXPECT_EQ(0x10, TsPacketReader(m_bytes).getProgram().streamTypes.at(kVideoPid));
}

// An I frame needs its room plus the alignment reserve. One larger than the
// ring or than the packager can hold is refused with the P frames behind it;
// what is queued stays readable.
TEST_F(TSFrameQueueTest, IFrameWithoutRoomOrTooLargeToPackIsRefusedAndTheQueueKeepsItsBlocks) {
    // 10000 bytes: floor(1.2 * 10028 / 188) = 64 packets + 3.
    TSFrameQueue fits(64 * 188 + 564 + 4096);
    EXPECT_EQ(Results{0}, push(fits, {iFrame(kT0, 10000)}));
    TSFrameQueue tight(64 * 188 + 564 + 4095);
    EXPECT_EQ(Results{-2}, push(tight, {iFrame(kT0, 10000)}));
    EXPECT_EQ((Results{0, -2, -1}),
              push(fits, {iFrame(kT0, 2000), iFrame(kT0 + 40000, 20000), pFrame(kT0 + 80000)}));
    TSFrameQueue big(8 * 1024 * 1024);
    EXPECT_EQ((Results{0, 0, -2, -2, -1, 0, 0}),
              push(big, {iFrame(kT0, 2000, 1), pFrame(kT0 + 40000), iFrame(kT0 + 1000000, 1885091),
                         iFrame(kT0 + 1040000, 1885091), pFrame(kT0 + 1080000),
                         iFrame(kT0 + 2000000, 1884000, 2), iFrame(kT0 + 3000000, 2000, 3)}));
    EXPECT_EQ((Results{1, 2}), takeTags(big));
}

// A P frame without room turns on dropping P frames, audio still goes in; the
// next I frame evicts the oldest group and wraps. The skip record carries no
// data, only how long after the evicted block's start the ring wrapped (s, <= 3).
TEST_F(TSFrameQueueTest, OnlyAnIFrameEvictsAndEvictedFramesAreLost) {
    for (int seconds : {2, 3, 9}) {
        SCOPED_TRACE(seconds);
        TSFrameQueue queue(40000);
        push(queue, {iFrame(kT0, 5000)});
        for (int i = 1; i <= 5; ++i) push(queue, {pFrame(kT0 + 40000 * i, 5000)});
        EXPECT_EQ(Results{-2}, push(queue, {pFrame(kT0 + 240000, 5000)}));
        EXPECT_TRUE(queue.isDiscardingPFrame());
        EXPECT_EQ((Results{-1, 0, -1}),
                  push(queue, {pFrame(kT0 + 280000, 10), audio(kT0 + 280000), pFrame(kT0 + 320000, 10)}));
        EXPECT_EQ(0u, queue.getFrameQueueDiscard());
        long long const t = kT0 + seconds * kSecond;
        EXPECT_EQ((Results{0, 0}), push(queue, {iFrame(t, 5000), iFrame(t + 40000, 5000)}));
        // Discarded: the group and its audio; lost: those and the three P frames refused.
        EXPECT_EQ((std::vector<unsigned long long>{7, 1, 10, 1}),
                  (std::vector<unsigned long long>{queue.getFrameQueueDiscard(), queue.getIFrameDiscard(),
                                                   queue.getFrameQueueLost(), queue.getIFrameLost()}));
        MarkData skip;
        ASSERT_TRUE(queue.getFrontMark(skip));
        EXPECT_TRUE(skip.getIsInvalid());
        EXPECT_EQ(std::min(seconds, 3), skip.getTopIntervalTime());
        TSAVData* out = nullptr;
        ASSERT_TRUE(queue.frontAVData(&out));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(t, take(queue)->getTimeStamp());
    }
}

// An all-I-frame stream with a consumer that lags: more than the 500 records
// of the mark ring. The ring full of records evicts like a full data ring,
// and every block carries its own frame's bytes under its time stamp.
TEST_F(TSFrameQueueTest, FullMarkRingEvictsTheOldestBlocksAndNoBlockCarriesAnotherFramesBytes) {
    TSFrameQueue queue(10 * 1024 * 1024);
    auto pushAndTake = [&](int from, int to) {
        for (int i = from; i <= to; ++i)
            EXPECT_EQ(Results{0}, push(queue, {iFrame(kT0 + i * 40000, 300, i)}));
        Results tags;
        while (TSAVData const* block = take(queue)) {
            tags.push_back(tagOf(video().at(0).payload));
            EXPECT_EQ(kT0 + tags.back() * 40000, block->getTimeStamp());
        }
        return tags.empty() ? Results{} : Results{static_cast<int>(tags.size()), tags.front(), tags.back()};
    };
    // Frame 500 found 499 records in use, the one being built counted: from
    // there on every frame pushes out the oldest block.
    EXPECT_EQ((Results{498, 102, 599}), pushAndTake(1, 600));
    EXPECT_EQ(101u, queue.getIFrameDiscard());
    EXPECT_EQ(101u, queue.getFrameQueueLost());
    EXPECT_EQ((Results{20, 600, 619}), pushAndTake(601, 620));
}

// The block handed out stays, byte for byte, while the I frame pushes out the
// groups behind it; it is answered again until it is popped, and updata still
// moves its time stamps.
TEST_F(TSFrameQueueTest, HandedOutBlockStaysWhileTheGroupsBehindItMakeRoom) {
    TSFrameQueue queue(50000);
    for (int i = 1; i <= 4; ++i) push(queue, {iFrame(kT0 + i * 40000, 10000, i)});
    TSAVData* out = nullptr;
    ASSERT_TRUE(queue.frontAVData(&out));
    std::string const before = bytesOf(out);
    EXPECT_EQ(0, queue.discardDataBlock());  // not while block 4 is being built behind it
    EXPECT_EQ(Results{0}, push(queue, {iFrame(kT0 + 5 * 40000, 10000, 5)}));
    EXPECT_EQ(2u, queue.getIFrameDiscard());  // blocks 2 and 3
    EXPECT_EQ(before, bytesOf(out));
    ASSERT_TRUE(queue.updata(kSecond, 0));
    std::string const moved = bytesOf(out);
    EXPECT_EQ(90000, TsPacketReader(moved).getPes(kVideoPid).at(0).nPts);
    ASSERT_TRUE(queue.frontAVData(&out));
    EXPECT_EQ(moved, bytesOf(out));
    queue.popAVData();
    EXPECT_EQ(Results{4}, takeTags(queue));
    push(queue, {iFrame(kT0 + 6 * 40000, 10000, 6)});
    EXPECT_EQ(Results{5}, takeTags(queue));
}

// A consumer thread that writes slower than the producer pushes: it holds each
// block while three more groups of pictures come in. Groups of ten frames,
// tagged 10 * group + frame, and audio beside the P frames.
TEST_F(TSFrameQueueTest, SlowConsumerThreadLosesWholeOldestGroupsAndNoIFrameIsRefused) {
    TSFrameQueue queue(100000);
    int const kGroups = 40;
    std::mutex mutex;
    std::condition_variable changed;
    int pushed = 0;        // groups; this and the next two guarded by mutex
    bool waiting = false;  // the consumer holds a block, or found none
    bool done = false;
    Results tags;  // of every frame the consumer took
    std::thread consumer([&] {
        for (TSAVData* out = nullptr;; out = nullptr) {
            bool const got = queue.frontAVData(&out);
            if (got && out == nullptr) {
                queue.popAVData();
                continue;
            }
            std::unique_lock<std::mutex> lock(mutex);
            if (!got && done) return;
            std::string const copy = got ? bytesOf(out) : std::string();
            int const target = pushed + (got ? 3 : 1);
            waiting = true;
            changed.notify_all();
            changed.wait(lock, [&] { return pushed >= target || done; });
            waiting = false;
            lock.unlock();
            if (!got) continue;
            EXPECT_EQ(copy, bytesOf(out));
            for (TsPacketReader::Pes const& pes : TsPacketReader(copy).getPes(kVideoPid))
                tags.push_back(tagOf(pes.payload));
            queue.popAVData();
        }
    });
    Results refused;
    for (int g = 1; g <= kGroups + 1; ++g) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return waiting; });
        lock.unlock();
        if (push(queue, {iFrame(kT0 + g * 400000, 4000, g * 10)}) != Results{0}) refused.push_back(g);
        for (int f = 1; f < 10 && g <= kGroups; ++f)
            push(queue,
                 {pFrame(kT0 + (g * 10 + f) * 40000, 1000, g * 10 + f), audio(kT0 + (g * 10 + f) * 40000)});
        lock.lock();
        ++pushed;
        done = g > kGroups;
        changed.notify_all();
    }
    consumer.join();
    EXPECT_EQ(Results{}, refused);
    // A group may be split where the ring wraps and lose its end, but what is
    // taken of it runs from its I frame without a hole; groups come in order.
    Results groups;
    for (size_t i = 0; i < tags.size(); ++i) {
        if (tags[i] % 10 == 0)
            groups.push_back(tags[i] / 10);
        else
            EXPECT_TRUE(i > 0 && tags[i - 1] + 1 == tags[i]) << tags[i];
    }
    EXPECT_TRUE(std::is_sorted(groups.begin(), groups.end()));
    // Every group not taken was pushed out of the ring as a whole.
    EXPECT_GT(queue.getIFrameDiscard(), 0u);
    EXPECT_EQ(static_cast<unsigned long long>(kGroups - groups.size()), queue.getIFrameDiscard());
}

// Three blocks of I + P 5000 bytes (5640 + 5264 packed) and an I frame, two
// blocks consumed: 12552 of 40000 left at the ring's end, which takes audio
// until 4096 + 376 bytes are left; the next audio is held.
class TSFrameQueueWrapTest : public TSFrameQueueTest {
protected:
    void SetUp() override {
        push(m_ring, {iFrame(kT0, 5000), pFrame(kT0 + 40000, 5000), iFrame(kT0 + 80000, 5000),
                      pFrame(kT0 + 120000, 5000), iFrame(kT0 + 160000, 5000)});
        m_pRingStart = m_ring.frontAVData(&m_pOut) ? m_pOut->getData() : nullptr;
        take(m_ring);
        take(m_ring);
        for (int before = used();
             push(m_ring, {audio(kT0 + 160000)}) == Results{0} && used() == before + 188;)
            before = used(), ++m_nInRing;
    }
    int used() const { return static_cast<int>(m_ring.getUsePercent() * 40000 + 0.5); }

    TSFrameQueue m_ring{40000};
    TSAVData* m_pOut = nullptr;
    char const* m_pRingStart = nullptr;
    int m_nInRing = 0;
};

TEST_F(TSFrameQueueWrapTest, RingEndIsGivenUpAndHeldAudioFollowsTheNextVideoFrameMovedByUpdata) {
    EXPECT_EQ(43, m_nInRing);
    int const before = used();
    EXPECT_EQ(Results(4, 0), push(m_ring, std::vector<AVData>(4, audio(kT0 + 160000))));
    EXPECT_EQ(before, used());
    ASSERT_TRUE(m_ring.updata(10 * kSecond, 0));  // the audio is at 0.16 s on the line
    push(m_ring, {pFrame(kT0 + 200000, 5000), iFrame(kT0 + 240000, 5000)});
    ASSERT_TRUE(m_ring.frontAVData(&m_pOut));
    EXPECT_EQ(kT0 + 160000, m_pOut->getTimeStamp());
    EXPECT_EQ(43u, TsPacketReader(bytesOf(m_pOut)).getPes(kAudioPid).size());
    m_ring.popAVData();  // the given-up space goes with it
    ASSERT_TRUE(m_ring.frontAVData(&m_pOut));
    EXPECT_EQ(m_pRingStart, m_pOut->getData());
    EXPECT_EQ(kT0 + 200000, m_pOut->getTimeStamp());
    TsPacketReader in(bytesOf(m_pOut));
    EXPECT_TRUE(in.getErrors().empty());
    EXPECT_EQ(5u, in.getPes(kAudioPid).size());
    for (TsPacketReader::Pes const& pes : in.getPes(kAudioPid)) EXPECT_EQ(14400 + 900000, pes.nPts);
    EXPECT_EQ(14400 + 900000 + 3600, in.getPes(kVideoPid).at(0).nPts);
}

TEST_F(TSFrameQueueWrapTest, HeldAudioIsRefusedWhenItWouldPassTheBuffer) {
    // 188 bytes each, room asked 376: 270 * 188 + 376 = 51136 <= 51200; 271 * 188 + 376 = 51324.
    Results results = push(m_ring, std::vector<AVData>(271, audio(kT0 + 160000)));
    EXPECT_EQ(Results(270, 0), Results(results.begin(), results.end() - 1));
    EXPECT_EQ(-4, results.back());
    // A frame asking 188 bytes still fits: 50948 + 188 <= 51200; then no more.
    EXPECT_EQ((Results{0, -4}), push(m_ring, {audio(kT0 + 160000, 10), audio(kT0 + 160000, 10)}));
}

// updata moves the queued blocks and the one being built; the time line goes on
// behind them. It starts at 0 with the first frame, whatever updata said before.
TEST_F(TSFrameQueueTest, UpdataMovesQueuedPacketsAndTheTimeLineGoesOnBehindThem) {
    ASSERT_TRUE(m_queue.updata(2 * kSecond, 0));
    push({iFrame(kT0), audio(kT0 + 20000), pFrame(kT0 + 40000), iFrame(kT0 + 80000)});
    ASSERT_TRUE(m_queue.updata(30 * kSecond, 4096));
    push({iFrame(kT0 + 120000), iFrame(kT0 + 160000)});
    // 30 s are 2700000 ticks; the next frame follows the last moved one by its own 40 ms.
    EXPECT_EQ((Pts{2700000, 2703600, 2707200, 2710800}), takePts());
    EXPECT_EQ((Pts{2700000, 2703600, 2707200, 2710800}), m_pcrs);
}

TEST_F(TSFrameQueueTest, CorruptRingIsCleanedByUpdataAndByFront) {
    for (bool byUpdata : {true, false}) {
        push({iFrame(kT0), iFrame(kT0 + 40000)});
        TSAVData* out = nullptr;
        ASSERT_TRUE(m_queue.frontAVData(&out));
        const_cast<char*>(out->getData())[0] = 0;
        EXPECT_FALSE(byUpdata ? m_queue.updata(kSecond, 0) : m_queue.frontAVData(&out));
        EXPECT_TRUE(m_queue.isEmpty());
        EXPECT_EQ(Results{-1}, push({pFrame(kT0 + 80000)}));  // waiting for an I frame again
    }
    EXPECT_NE(std::string::npos, log("Bug").find("unequal 0x47"));
}

TEST_F(TSFrameQueueTest, FramesInPiecesArePackedLikeWholeOnesButAudioIsNot) {
    std::string const head(700, 'h');
    std::string const tail(1300, 't');
    AVDataEX f, sound;
    static_cast<AVFrameFields&>(f) = iFrame(kT0);
    static_cast<AVFrameFields&>(sound) = audio(kT0);
    f.setData({DataInfo{head.data(), 700}, DataInfo{tail.data(), 1300}});
    sound.setData({DataInfo{head.data(), 160}});
    EXPECT_EQ((Results{0, 0}), (Results{m_queue.pushAVData(&f), m_queue.pushAVData(&sound)}));
    push({iFrame(kT0 + 40000)});
    take();
    EXPECT_EQ(head + tail, text(video().at(0).payload));
    EXPECT_TRUE(TsPacketReader(m_bytes).getPes(kAudioPid).empty());
}

TEST_F(TSFrameQueueTest, LossReportIsWrittenOncePerIntervalAndZeroesTheCounters) {
    m_queue.setDeviceInfo("NVR", 4);
    std::vector<AVData> frames = {pFrame(kT0), iFrame(kT0 + 40000), pFrame(kT0 + 80000)};
    for (unsigned int i : {0, 1, 2}) frames[i].setSequenceId(i == 0 ? 1 : i + 4);  // 3 frames never came
    EXPECT_EQ((Results{-1, 0}), push({frames[0], frames[1]}));
    HostClock::shift(601);
    EXPECT_EQ(Results{0}, push({frames[2]}));
    HostClock::reset();
    EXPECT_EQ(0u, m_queue.getFrameQueueLost());
    EXPECT_EQ(0u, m_queue.getValidLostPFrame());
    EXPECT_NE(std::string::npos, log("FrameQueueError")
                                     .find("DataSourceLostFrame:3,FramQueueLost:1,IFrameLost:0,"
                                           "FrameQueueDiscard:0,IFrameDiscard:0, ValidLostPFrame:1"));
}

TEST_F(TSFrameQueueTest, SnapshotModeKeepsJpegPicturesAsTheyAre) {
    TSFrameQueue queue(20000);
    queue.setSnapshot(true);
    AVData jpeg = frame(1, 1, kT0, 3000, 1);
    jpeg.setEncoderType(2);
    // Each picture asks 4136 bytes and 4096 stay free: four fit. Without
    // pre-recording the fifth is refused and the first stays.
    EXPECT_EQ((Results{-1, 0, 0, 0, 0, -2}), push(queue, {iFrame(kT0), jpeg, jpeg, jpeg, jpeg, jpeg}));
    EXPECT_EQ(2u, queue.getFrameQueueLost());
    TSAVData* out = nullptr;
    ASSERT_TRUE(queue.frontAVData(&out));
    EXPECT_EQ(bytesOf(out), std::string(jpeg.getData(), 3000));
    queue.clean();
    // Pre-recording keeps only the last seconds.
    queue.setPreRecordFlag(true);
    queue.setPreRecordTime(2);
    for (int s = 0; s < 5; ++s) {
        jpeg.setTimeStamp(kT0 + s * kSecond);
        EXPECT_EQ(Results{0}, push(queue, {jpeg}));
    }
    ASSERT_TRUE(queue.frontAVData(&out));
    EXPECT_EQ(kT0 + 3 * kSecond, out->getTimeStamp());
    queue.setPreRecordTime(0);
    EXPECT_EQ(Results{-3}, push(queue, {jpeg}));
    EXPECT_TRUE(queue.isEmpty());
}

// A writer thread holds each picture while three more come in and push the
// oldest out: the one held is passed, never freed under the writer.
TEST_F(TSFrameQueueTest, SnapshotPictureHeldByTheWriterSurvivesPushesThatEvict) {
    TSFrameQueue queue(20000);
    queue.setSnapshot(true);
    queue.setPreRecordFlag(true);
    queue.setPreRecordTime(1000);  // evict by size only
    int const kPictures = 30;
    std::mutex mutex;
    std::condition_variable changed;
    int pushed = 0;  // this and target guarded by mutex
    int target = 0;  // the writer lets the producer push up to here
    Results tags;
    std::thread writer([&] {
        for (TSAVData* out = nullptr;; out = nullptr) {
            bool const got = queue.frontAVData(&out);
            if (got && out == nullptr) {
                queue.popAVData();
                continue;
            }
            std::unique_lock<std::mutex> lock(mutex);
            if (!got && pushed >= kPictures) return;
            std::string const copy = got ? bytesOf(out) : std::string();
            target = std::min(kPictures, pushed + (got ? 3 : 1));
            changed.notify_all();
            changed.wait(lock, [&] { return pushed >= target; });
            lock.unlock();
            if (!got) continue;
            EXPECT_EQ(copy, bytesOf(out));
            tags.push_back(tagOf(std::vector<char>(copy.begin(), copy.end())));
            queue.popAVData();
        }
    });
    for (int p = 1; p <= kPictures; ++p) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return pushed < target; });
        lock.unlock();
        AVData jpeg = frame(1, 1, kT0 + p * kSecond, 3000, p);
        jpeg.setEncoderType(2);
        EXPECT_EQ(0, queue.pushAVData(&jpeg)) << p;
        lock.lock();
        ++pushed;
        changed.notify_all();
    }
    writer.join();
    // Every picture held came out whole; the others were pushed out, or not
    // kept while the writer held the oldest, and all of them are counted.
    EXPECT_TRUE(std::is_sorted(tags.begin(), tags.end()) && !tags.empty() && tags.front() == 1)
        << ::testing::PrintToString(tags);
    EXPECT_EQ(std::set<int>(tags.begin(), tags.end()).size(), tags.size());
    EXPECT_GT(queue.getFrameQueueDiscard(), 0u);
    EXPECT_EQ(static_cast<unsigned long long>(kPictures) - tags.size(), queue.getFrameQueueLost())
        << ::testing::PrintToString(tags);
}

// The shipped CIF stream and A-law audio through the queue, read back by ffmpeg.
TEST_F(TSFrameQueueTest, ShippedStreamsComeOutPlayable) {
    if (!FfprobeCheck::available()) GTEST_SKIP() << "ffprobe is not installed";
    TestStreams::VideoOptions cif;
    cif.nWidth = 640;
    cif.nHeight = 360;
    std::string const data = RECSTORE_TESTDATA_DIR;
    std::vector<AVData> const video = TestStreams::readH264(data + "/cif25_gop50_20s.h264", cif);
    std::vector<AVData> frames =
        TestStreams::interleave(video, TestStreams::readALaw(data + "/tone8k_20s.alaw"));
    frames.push_back(video.at(0));  // an I frame closes the last group
    frames.back().setTimeStamp(video.back().getTimeStamp() + 40000);
    EXPECT_EQ(Results(frames.size(), 0), push(frames));
    std::string joined;
    while (take()) joined += m_bytes;
    TempDir disk;
    ASSERT_TRUE(disk.writeFile("joined.ts", joined));
    std::string const file = disk.path("joined.ts");
    EXPECT_EQ((std::vector<std::string>{"h264", "bin_data"}), FfprobeCheck::codecNames(file));
    std::vector<double> const times = FfprobeCheck::packetTimes(file, 0);
    ASSERT_EQ(500u, times.size());
    for (size_t i = 1; i < times.size(); ++i) EXPECT_NEAR(0.04, times[i] - times[i - 1], 1e-6);
    EXPECT_EQ(1000u, FfprobeCheck::packetTimes(file, 1).size());
    EXPECT_EQ("", FfprobeCheck::decodeErrors(file));
}

}  // namespace
