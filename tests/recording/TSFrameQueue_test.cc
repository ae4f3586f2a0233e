#include "recording/TSFrameQueue.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <dirent.h>

#include <algorithm>

#include "directory/LastRecordFileInfoManager.h"
#include "disk/RecordDiskManagerImpl.h"
#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "recording/RecordStorage.h"
#include "host/DiskManagerFactory.h"
#include "tests/support/FfprobeCheck.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestStreams.h"
#include "tests/support/TsPacketReader.h"

namespace {

constexpr long long kSecond = 1000000;
constexpr long long kT0 = 1704110400LL * kSecond;  // 2024-01-01 12:00:00 UTC
constexpr int kVideoPid = 0x100;
constexpr int kAudioPid = 0x101;

AVData frame(int es, int type, long long time, size_t length, unsigned int sequence = 0) {
    AVData f;
    std::vector<char> bytes(length, static_cast<char>(type == 1 ? 'I' : es == 1 ? 'P' : 'a'));
    f.setData(bytes.data(), static_cast<unsigned int>(length));
    f.setESStreamType(es);
    f.setFrameType(type);
    f.setEncoderType(es == 1 ? 1 : 102);
    f.setImageWidth(640);
    f.setImageHeight(360);
    f.setTimeStamp(time);
    f.setSequenceId(sequence);
    return f;
}
AVData iFrame(long long time, size_t length = 2000) { return frame(1, 1, time, length); }
AVData pFrame(long long time, size_t length = 500) { return frame(1, 2, time, length); }
AVData audio(long long time, size_t length = 160) { return frame(2, 1, time, length); }

std::string blockBytes(TSAVData const* block) { return std::string(block->getData(), block->getDataLength()); }

std::string readWhole(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream out;
    out << in.rdbuf();
    return out.str();
}

class TSFrameQueueTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
    }

    int push(AVData const& f) { return m_queue.pushAVData(&f); }

    // The front block, popped; null when there is none. Given-up space is
    // popped on the way.
    TSAVData const* take() {
        for (int i = 0; i < 3; ++i) {
            TSAVData* out = nullptr;
            if (!m_queue.frontAVData(&out)) return nullptr;
            if (out != nullptr) {
                m_taken = *out;
                m_bytes = blockBytes(out);
                m_taken.setData(m_bytes.data(), static_cast<unsigned int>(m_bytes.size()));
                m_queue.popAVData();
                return &m_taken;
            }
            m_queue.popAVData();
        }
        return nullptr;
    }

    HostRootGuard m_root;
    TSFrameQueue m_queue{4 * 1024 * 1024};
    TSAVData m_taken;
    std::string m_bytes;
};

TEST_F(TSFrameQueueTest, EmptyFrameIsAnsweredOneAndChangesNothing) {
    AVData empty;
    EXPECT_EQ(1, m_queue.pushAVData(&empty));
    AVDataEX emptyEx;
    EXPECT_EQ(1, m_queue.pushAVData(&emptyEx));
    EXPECT_EQ(0u, m_queue.getFrameQueueLost());
    EXPECT_TRUE(m_queue.isWaitingIFrame());
}

TEST_F(TSFrameQueueTest, NothingButAnIFrameEntersAtFirst) {
    EXPECT_EQ(-1, push(pFrame(kT0)));
    EXPECT_EQ(-1, push(audio(kT0)));
    EXPECT_EQ(1u, m_queue.getFrameQueueLost());  // video only
    EXPECT_EQ(1u, m_queue.getValidLostPFrame());
    EXPECT_EQ(1u, m_queue.getIFrameLost());  // the audio frame is of type 1
    EXPECT_EQ(0, push(iFrame(kT0 + 40000)));
    EXPECT_FALSE(m_queue.isWaitingIFrame());
    EXPECT_EQ(0, push(pFrame(kT0 + 80000)));
    EXPECT_EQ(0, push(audio(kT0 + 80000)));
}

TEST_F(TSFrameQueueTest, BlockBecomesReadableWhenTheNextOneOpensAndHoldsItsFrames) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(audio(kT0)));
    EXPECT_EQ(0, push(pFrame(kT0 + 40000)));
    EXPECT_TRUE(m_queue.isEmpty());
    EXPECT_EQ(0, push(iFrame(kT0 + 80000)));
    EXPECT_FALSE(m_queue.isEmpty());
    TSAVData const* block = take();
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(kT0, block->getTimeStamp());
    EXPECT_EQ(1, block->getFrameType());
    EXPECT_EQ(1, block->getESStreamType());
    EXPECT_EQ(640, block->getImageWidth());
    EXPECT_TRUE(block->getDiscontinuityIndicator());  // the first run
    TsPacketReader in(m_bytes);
    EXPECT_TRUE(in.getErrors().empty());
    ASSERT_EQ(2u, in.getPes(kVideoPid).size());
    EXPECT_EQ(1u, in.getPes(kAudioPid).size());
    std::vector<char> const payload = in.getPes(kVideoPid)[0].payload;
    EXPECT_EQ(std::string(2000, 'I'), std::string(payload.begin(), payload.end()));
    EXPECT_EQ(in.getPes(kVideoPid)[0].nPts + 3600, in.getPes(kVideoPid)[1].nPts);
    EXPECT_EQ(nullptr, take());
}

TEST_F(TSFrameQueueTest, BlockTimeLengthRoundsUpPastHalfASecond) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(pFrame(kT0 + 1500000)));
    EXPECT_EQ(0, push(iFrame(kT0 + 2000000)));
    EXPECT_EQ(0, push(pFrame(kT0 + 3501000)));
    EXPECT_EQ(0, push(iFrame(kT0 + 4000000)));
    EXPECT_EQ(1, take()->getDataTimeLength());
    EXPECT_EQ(2, take()->getDataTimeLength());
}

TEST_F(TSFrameQueueTest, BlockWithoutIFrameIsCutAfterTheIFrameInterval) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(pFrame(kT0 + 3000000)));
    EXPECT_EQ(0, m_queue.getMarkCount());
    EXPECT_EQ(0, push(pFrame(kT0 + 3000001)));
    EXPECT_EQ(1, m_queue.getMarkCount());
    EXPECT_EQ(kT0, take()->getTimeStamp());
    m_queue.setIFrameTimeStampInterval(5);
    EXPECT_EQ(0, push(pFrame(kT0 + 8000001)));
    EXPECT_EQ(0, m_queue.getMarkCount());
    EXPECT_EQ(0, push(pFrame(kT0 + 8000002)));
    EXPECT_EQ(1, m_queue.getMarkCount());
    TSAVData const* block = take();
    EXPECT_EQ(kT0 + 3000001, block->getTimeStamp());
    EXPECT_EQ(2, block->getFrameType());
    EXPECT_FALSE(block->getDiscontinuityIndicator());
}

TEST_F(TSFrameQueueTest, BlockIsCutOnceItHoldsOneMebibyte) {
    m_queue.setIFrameTimeStampInterval(60);
    EXPECT_EQ(0, push(iFrame(kT0, 100000)));
    int frames = 1;
    while (m_queue.getMarkCount() == 0) {
        ASSERT_EQ(0, push(pFrame(kT0 + 40000 * frames, 100000)));
        ++frames;
    }
    TSAVData const* block = take();
    size_t const packed = 545 * 188;  // one P frame of 100000 bytes
    EXPECT_GE(block->getDataLength(), 0x100000u);
    EXPECT_LT(block->getDataLength() - packed, 0x100000u);
    EXPECT_EQ(frames - 1, static_cast<int>(TsPacketReader(m_bytes).getPes(kVideoPid).size()));
}

TEST_F(TSFrameQueueTest, TenSecondsWithoutAnIFrameDropsPFramesUntilTheNext) {
    m_queue.setIFrameTimeStampInterval(60);
    m_queue.setCommonFileFlag(true);
    EXPECT_EQ(0, push(iFrame(kT0)));
    for (int s = 1; s <= 9; ++s) EXPECT_EQ(0, push(pFrame(kT0 + s * kSecond)));
    EXPECT_EQ(0, push(pFrame(kT0 + 10000000)));
    EXPECT_EQ(-1, push(pFrame(kT0 + 10000001)));
    EXPECT_TRUE(m_queue.isDiscardingPFrame());
    EXPECT_EQ(-1, push(pFrame(kT0 + 10040000)));
    EXPECT_EQ(2u, m_queue.getValidLostPFrame());
    EXPECT_EQ(0, push(audio(kT0 + 10040000)));  // audio runs on and clears the state
    EXPECT_FALSE(m_queue.isDiscardingPFrame());
    EXPECT_EQ(0, push(iFrame(kT0 + 10080000)));
    EXPECT_EQ(0, push(pFrame(kT0 + 10120000)));
}

TEST_F(TSFrameQueueTest, GapOfTenSecondsStartsANewRunAndOneMicrosecondLessDoesNot) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(iFrame(kT0 + 9999999)));
    EXPECT_EQ(0, push(iFrame(kT0 + 9999999 + 10000000)));
    EXPECT_EQ(0, push(iFrame(kT0 + 30000000)));
    EXPECT_TRUE(take()->getDiscontinuityIndicator());  // first run
    EXPECT_FALSE(take()->getDiscontinuityIndicator());
    EXPECT_TRUE(take()->getDiscontinuityIndicator());
    // A P frame cannot open a run: dropped, and the queue waits for an I frame.
    EXPECT_EQ(-1, push(pFrame(kT0 + 40000000)));
    EXPECT_TRUE(m_queue.isWaitingIFrame());
    EXPECT_EQ(-1, push(pFrame(kT0 + 40080000)));
    EXPECT_EQ(0, push(iFrame(kT0 + 40120000)));
    EXPECT_EQ(kT0 + 30000000, take()->getTimeStamp());
    EXPECT_EQ(0, push(iFrame(kT0 + 40160000)));
    TSAVData const* block = take();
    EXPECT_EQ(kT0 + 40120000, block->getTimeStamp());
    EXPECT_TRUE(block->getDiscontinuityIndicator());
}

TEST_F(TSFrameQueueTest, CommonFileIgnoresGaps) {
    m_queue.setCommonFileFlag(true);
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(iFrame(kT0 + 20000000)));
    EXPECT_EQ(0, push(iFrame(kT0 + 20040000)));
    take();
    EXPECT_FALSE(take()->getDiscontinuityIndicator());
}

TEST_F(TSFrameQueueTest, DateSwitchNeedsMoreThanAMinuteOfGapAtMidnight) {
    m_queue.setDeviceInfo("NVR", 3);
    m_queue.setCommonFileFlag(true);  // only the date rule may start a run here
    long long const midnight = (1704110400LL + 12 * 3600) * kSecond;
    long long t = midnight - 30 * kSecond;
    EXPECT_EQ(0, push(iFrame(t)));
    EXPECT_EQ(0, push(iFrame(t + 60000000)));
    EXPECT_EQ(0, push(iFrame(t + 60040000)));
    take();
    EXPECT_FALSE(take()->getDiscontinuityIndicator());

    // Next midnight, one microsecond more.
    t = midnight + 86400 * kSecond - 30 * kSecond;
    EXPECT_EQ(0, push(iFrame(t)));
    EXPECT_EQ(0, push(iFrame(t + 60000001)));
    EXPECT_EQ(0, push(iFrame(t + 60040001)));
    take();
    EXPECT_FALSE(take()->getDiscontinuityIndicator());  // 2024-01-02 23:59:30: same day as before
    EXPECT_TRUE(take()->getDiscontinuityIndicator());
    std::string log = readWhole(HostPaths::getLogDir() + "/FrameQueueError.log");
    EXPECT_NE(std::string::npos, log.find("date switch 2024-01-02 23:59:30->2024-01-03 00:00:30"));

    // A continuous stream crosses midnight without a new run.
    t = midnight + 2 * 86400 * kSecond - kSecond;
    for (int i = 0; i < 50; ++i) EXPECT_EQ(0, push(iFrame(t + i * 40000)));
    while (TSAVData const* block = take()) EXPECT_FALSE(block->getDiscontinuityIndicator());
}

TEST_F(TSFrameQueueTest, RollbackOnAnIFrameOpensARunAndOnAPFrameWaits) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(pFrame(kT0 + 40000)));
    EXPECT_EQ(-1, push(pFrame(kT0 + 20000)));
    EXPECT_TRUE(m_queue.isWaitingIFrame());
    EXPECT_EQ(0, push(iFrame(kT0 + 10000)));
    EXPECT_EQ(0, push(iFrame(kT0 + 50000)));
    take();
    TSAVData const* block = take();
    EXPECT_EQ(kT0 + 10000, block->getTimeStamp());
    EXPECT_TRUE(block->getDiscontinuityIndicator());
    // The packager restarted its time line at the rollback.
    EXPECT_EQ(0, TsPacketReader(m_bytes).getPes(kVideoPid).at(0).nPts);
}

TEST_F(TSFrameQueueTest, EncoderAndPictureSizeChangesStartRuns) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    AVData mpeg4 = pFrame(kT0 + 40000);
    mpeg4.setEncoderType(0);
    EXPECT_EQ(-1, push(mpeg4));
    mpeg4 = iFrame(kT0 + 80000);
    mpeg4.setEncoderType(0);
    EXPECT_EQ(0, push(mpeg4));
    AVData big = pFrame(kT0 + 120000);
    big.setEncoderType(0);
    big.setImageWidth(1280);
    EXPECT_EQ(-1, push(big));
    big = iFrame(kT0 + 160000);
    big.setEncoderType(0);
    big.setImageWidth(1280);
    EXPECT_EQ(0, push(big));
    EXPECT_EQ(0, push(iFrame(kT0 + 200000)));  // H.264 again, 640 wide
    take();
    TSAVData const* block = take();
    EXPECT_EQ(0, block->getEncoderType());
    EXPECT_TRUE(block->getDiscontinuityIndicator());
    TsPacketReader in(m_bytes);
    EXPECT_EQ(0x10, in.getProgram().streamTypes.at(kVideoPid));
    block = take();
    EXPECT_EQ(1280, block->getImageWidth());
    EXPECT_TRUE(block->getDiscontinuityIndicator());
}

TEST_F(TSFrameQueueTest, IFrameNeedsItsRoomPlusTheAlignmentReserve) {
    // 10000 bytes: floor(1.2 * 10028 / 188) = 64 packets + 3.
    int const need = 64 * 188 + 564;
    TSFrameQueue fits(need + 4096);
    AVData f = iFrame(kT0, 10000);
    EXPECT_EQ(0, fits.pushAVData(&f));
    TSFrameQueue tight(need + 4095);
    EXPECT_EQ(-2, tight.pushAVData(&f));
    EXPECT_EQ(1u, tight.getFrameQueueLost());
    EXPECT_EQ(1u, tight.getIFrameLost());
}

TEST_F(TSFrameQueueTest, SlowConsumerLosesPFramesFirstAndOnlyAnIFrameEvicts) {
    TSFrameQueue queue(200000);
    auto pushTo = [&](AVData const& f) { return queue.pushAVData(&f); };
    long long t = kT0;
    int stored = 0;
    int result = 0;
    // GOPs of one I frame and P frames until the ring refuses one.
    ASSERT_EQ(0, pushTo(iFrame(t, 20000)));
    for (int i = 1; (result = pushTo(pFrame(t + 40000 * i, 5000))) == 0; ++i) {
        ++stored;
        if (i % 10 == 0) {
            t += 40000;
            ASSERT_EQ(0, pushTo(iFrame(t + 40000 * i, 20000)));
        }
    }
    EXPECT_EQ(-2, result);
    EXPECT_TRUE(queue.isDiscardingPFrame());
    int const marks = queue.getMarkCount();
    double const fill = queue.getUsePercent();
    // The rest of the group of pictures goes too; small audio still fits.
    long long const next = t + 40000 * 1000;
    EXPECT_EQ(-1, pushTo(pFrame(next, 10)));
    EXPECT_EQ(0, pushTo(audio(next)));
    EXPECT_EQ(marks, queue.getMarkCount());
    EXPECT_EQ(0u, queue.getFrameQueueDiscard());
    // The I frame pushes out the oldest groups of pictures.
    EXPECT_EQ(0, pushTo(iFrame(next + 40000, 20000)));
    EXPECT_GT(queue.getFrameQueueDiscard(), 0u);
    EXPECT_GT(queue.getIFrameDiscard(), 0u);
    EXPECT_FALSE(queue.isDiscardingPFrame());
    EXPECT_LT(queue.getUsePercent(), fill + 0.2);
    EXPECT_EQ(0, pushTo(pFrame(next + 80000, 5000)));
    // What is left still opens with an I frame and reads as TS.
    TSAVData* out = nullptr;
    while (queue.frontAVData(&out) && out == nullptr) queue.popAVData();
    ASSERT_NE(nullptr, out);
    EXPECT_EQ(1, out->getFrameType());
    TsPacketReader in(blockBytes(out));
    EXPECT_TRUE(in.getErrors().empty());
    EXPECT_TRUE(in.getPes(kVideoPid).at(0).bRandomAccess);
}

TEST_F(TSFrameQueueTest, IFrameLargerThanTheRingIsDroppedAndPFramesWait) {
    TSFrameQueue queue(100000);
    AVData first = iFrame(kT0, 20000);
    EXPECT_EQ(0, queue.pushAVData(&first));
    AVData huge = iFrame(kT0 + 40000, 200000);
    EXPECT_EQ(-2, queue.pushAVData(&huge));
    AVData p = pFrame(kT0 + 80000);
    EXPECT_EQ(-1, queue.pushAVData(&p));
}

TEST_F(TSFrameQueueTest, BlockHandedOutIsNeverEvicted) {
    TSFrameQueue queue(60000);
    AVData a = iFrame(kT0, 20000);
    AVData b = iFrame(kT0 + 40000, 20000);
    ASSERT_EQ(0, queue.pushAVData(&a));
    ASSERT_EQ(0, queue.pushAVData(&b));
    TSAVData* out = nullptr;
    ASSERT_TRUE(queue.frontAVData(&out));
    std::string const before = blockBytes(out);
    AVData c = iFrame(kT0 + 80000, 20000);
    EXPECT_EQ(-2, queue.pushAVData(&c));
    EXPECT_EQ(before, blockBytes(out));
    queue.popAVData();
    EXPECT_EQ(0, queue.pushAVData(&c));
}

// Two blocks of I 5000 + P 5000 bytes (5640 + 5264 bytes packed) and a
// third I frame, with the first two blocks consumed: 27448 of 40000 written.
class TSFrameQueueWrapTest : public TSFrameQueueTest {
protected:
    void SetUp() override {
        TSFrameQueueTest::SetUp();
        ASSERT_EQ(0, push(iFrame(kT0, 5000)));
        ASSERT_EQ(0, push(pFrame(kT0 + 40000, 5000)));
        ASSERT_EQ(0, push(iFrame(kT0 + 80000, 5000)));
        ASSERT_EQ(0, push(pFrame(kT0 + 120000, 5000)));
        ASSERT_EQ(0, push(iFrame(kT0 + 160000, 5000)));
        TSAVData* out = nullptr;
        ASSERT_TRUE(m_queue.frontAVData(&out));
        m_pRingStart = out->getData();
        m_queue.popAVData();
        ASSERT_TRUE(m_queue.frontAVData(&out));
        m_queue.popAVData();
    }
    int push(AVData const& f) { return m_queue.pushAVData(&f); }
    int used() const { return static_cast<int>(m_queue.getUsePercent() * 40000 + 0.5); }

    // Audio until one is not put into the ring; answers how many were.
    int fillTailWithAudio() {
        int inRing = 0;
        for (;;) {
            int const before = used();
            EXPECT_EQ(0, push(audio(kT0 + 160000)));
            if (used() - before != 188) return inRing;
            ++inRing;
        }
    }

    TSFrameQueue m_queue{40000};
    char const* m_pRingStart = nullptr;
};

TEST_F(TSFrameQueueWrapTest, RingEndIsGivenUpAndHeldAudioFollowsTheNextVideoFrame) {
    // The tail (12552 bytes) takes audio while 4096 + 376 bytes stay free before it.
    EXPECT_EQ(43, fillTailWithAudio());
    for (int i = 0; i < 4; ++i) {
        int const before = used();
        EXPECT_EQ(0, push(audio(kT0 + 160000)));
        EXPECT_EQ(before, used());
    }
    ASSERT_EQ(0, push(pFrame(kT0 + 200000, 5000)));
    ASSERT_EQ(0, push(iFrame(kT0 + 240000, 5000)));
    TSAVData* out = nullptr;
    ASSERT_TRUE(m_queue.frontAVData(&out));
    ASSERT_NE(nullptr, out);
    EXPECT_EQ(kT0 + 160000, out->getTimeStamp());
    EXPECT_EQ(43u, TsPacketReader(blockBytes(out)).getPes(kAudioPid).size());
    m_queue.popAVData();  // the given-up space goes with it
    out = nullptr;
    ASSERT_TRUE(m_queue.frontAVData(&out));
    ASSERT_NE(nullptr, out);
    EXPECT_EQ(m_pRingStart, out->getData());
    EXPECT_EQ(kT0 + 200000, out->getTimeStamp());
    TsPacketReader in(blockBytes(out));
    EXPECT_TRUE(in.getErrors().empty());
    EXPECT_EQ(1u, in.getPes(kVideoPid).size());
    EXPECT_EQ(5u, in.getPes(kAudioPid).size());
}

TEST_F(TSFrameQueueWrapTest, HeldAudioIsRefusedWhenItWouldPassTheBuffer) {
    fillTailWithAudio();  // one frame held
    // 188 bytes each, room asked 376: held + 376 may reach 51200.
    int held = 1;
    int result = 0;
    while ((result = push(audio(kT0 + 160000))) == 0) ++held;
    EXPECT_EQ(-4, result);
    EXPECT_EQ(271, held);  // 270 * 188 + 376 = 51136 <= 51200; 271 * 188 + 376 = 51324
    // A frame asking 188 bytes still fits: 50948 + 188 <= 51200; then no more.
    EXPECT_EQ(0, push(audio(kT0 + 160000, 10)));
    EXPECT_EQ(-4, push(audio(kT0 + 160000, 10)));
}

TEST_F(TSFrameQueueTest, SkipRecordAtTheFrontIsAnsweredWithoutData) {
    TSFrameQueue queue(40000);
    auto pushTo = [&](AVData const& f) { return queue.pushAVData(&f); };
    ASSERT_EQ(0, pushTo(iFrame(kT0, 5000)));
    for (int i = 1; i <= 5; ++i) ASSERT_EQ(0, pushTo(pFrame(kT0 + 40000 * i, 5000)));
    // No room at the tail nor the head: the I frame evicts the whole group of
    // pictures, gives up the tail and starts again at the ring's start.
    ASSERT_EQ(0, pushTo(iFrame(kT0 + 240000, 5000)));
    EXPECT_EQ(6u, queue.getFrameQueueDiscard());
    EXPECT_EQ(1u, queue.getIFrameDiscard());
    ASSERT_EQ(0, pushTo(iFrame(kT0 + 280000, 5000)));
    TSAVData* out = nullptr;
    ASSERT_TRUE(queue.frontAVData(&out));
    EXPECT_EQ(nullptr, out);
    queue.popAVData();
    ASSERT_TRUE(queue.frontAVData(&out));
    ASSERT_NE(nullptr, out);
    EXPECT_EQ(kT0 + 240000, out->getTimeStamp());
}

TEST_F(TSFrameQueueTest, UpdataMovesQueuedPacketsAndTheTimeLineGoesOnBehindThem) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(audio(kT0 + 20000)));
    EXPECT_EQ(0, push(pFrame(kT0 + 40000)));
    EXPECT_EQ(0, push(iFrame(kT0 + 80000)));  // still being built
    ASSERT_TRUE(m_queue.updata(30 * kSecond, 4096));
    EXPECT_EQ(0, push(iFrame(kT0 + 120000)));
    EXPECT_EQ(0, push(iFrame(kT0 + 160000)));
    std::vector<long long> pts;
    std::vector<long long> pcrs;
    while (take()) {
        TsPacketReader in(m_bytes);
        for (TsPacketReader::Pes const& pes : in.getPes(kVideoPid)) pts.push_back(pes.nPts);
        pcrs.insert(pcrs.end(), in.getPcrs().begin(), in.getPcrs().end());
    }
    // 30 s are 2700000 ticks; the next frame follows the last moved one by its own 40 ms.
    EXPECT_EQ((std::vector<long long>{2700000, 2703600, 2707200, 2710800}), pts);
    EXPECT_EQ(pts, pcrs);
}

TEST_F(TSFrameQueueTest, UpdataOnAnEmptyQueueStartsTheTimeLineThere) {
    ASSERT_TRUE(m_queue.updata(2 * kSecond, 0));
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(iFrame(kT0 + 40000)));
    take();
    // The first frame after a reset of the packager starts at 0.
    EXPECT_EQ(0, TsPacketReader(m_bytes).getPes(kVideoPid).at(0).nPts);
    ASSERT_TRUE(m_queue.updata(2 * kSecond, 0));
    EXPECT_EQ(0, push(iFrame(kT0 + 80000)));
    take();
    EXPECT_EQ(180000 + 3600, TsPacketReader(m_bytes).getPes(kVideoPid).at(0).nPts);
    EXPECT_EQ(0, push(iFrame(kT0 + 120000)));
    take();
    EXPECT_EQ(180000 + 7200, TsPacketReader(m_bytes).getPes(kVideoPid).at(0).nPts);
}

TEST_F(TSFrameQueueTest, CorruptRingFailsUpdataAndIsCleaned) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(iFrame(kT0 + 40000)));
    TSAVData* out = nullptr;
    ASSERT_TRUE(m_queue.frontAVData(&out));
    const_cast<char*>(out->getData())[0] = 0;
    EXPECT_FALSE(m_queue.updata(kSecond, 0));
    EXPECT_TRUE(m_queue.isEmpty());
    EXPECT_TRUE(m_queue.isWaitingIFrame());
    EXPECT_EQ(-1, push(pFrame(kT0 + 80000)));
    EXPECT_NE(std::string::npos, readWhole(HostPaths::getLogDir() + "/Bug.log").find("unequal 0x47"));
}

TEST_F(TSFrameQueueTest, CorruptBlockIsNeverHandedOut) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(iFrame(kT0 + 40000)));
    TSAVData* out = nullptr;
    ASSERT_TRUE(m_queue.frontAVData(&out));
    const_cast<char*>(out->getData())[0] = 'x';
    out = nullptr;
    EXPECT_FALSE(m_queue.frontAVData(&out));
    EXPECT_EQ(nullptr, out);
    EXPECT_TRUE(m_queue.isEmpty());
    EXPECT_EQ(0, push(iFrame(kT0 + 80000)));
}

TEST_F(TSFrameQueueTest, FramesInPiecesArePackedLikeWholeOnes) {
    std::string head(700, 'h');
    std::string tail(1300, 't');
    AVDataEX f;
    static_cast<AVFrameFields&>(f) = iFrame(kT0);
    f.setData({DataInfo{head.data(), 700}, DataInfo{tail.data(), 1300}});
    EXPECT_EQ(0, m_queue.pushAVData(&f));
    AVDataEX sound;
    static_cast<AVFrameFields&>(sound) = audio(kT0);
    sound.setData({DataInfo{head.data(), 160}});
    EXPECT_EQ(0, m_queue.pushAVData(&sound));  // accepted, but pieces of audio are not packed
    EXPECT_EQ(0, push(iFrame(kT0 + 40000)));
    take();
    TsPacketReader in(m_bytes);
    std::vector<char> const payload = in.getPes(kVideoPid).at(0).payload;
    EXPECT_EQ(head + tail, std::string(payload.begin(), payload.end()));
    EXPECT_TRUE(in.getPes(kAudioPid).empty());
}

TEST_F(TSFrameQueueTest, RawFrontCopiesTheBlockAndLastOnlyWithOneBlock) {
    EXPECT_EQ(0, push(iFrame(kT0)));
    EXPECT_EQ(0, push(iFrame(kT0 + 40000)));
    AVData raw;
    EXPECT_TRUE(m_queue.frontLastAVData(&raw));
    EXPECT_EQ(0u, raw.getDataLength() % 188);
    EXPECT_EQ(kT0, raw.getTimeStamp());
    EXPECT_EQ(0, push(iFrame(kT0 + 80000)));
    EXPECT_FALSE(m_queue.frontLastAVData(&raw));
    EXPECT_TRUE(m_queue.frontAVData(&raw));
}

TEST_F(TSFrameQueueTest, LossReportIsWrittenOncePerIntervalAndZeroesTheCounters) {
    m_queue.setDeviceInfo("NVR", 4);
    AVData p = pFrame(kT0);
    p.setSequenceId(1);
    EXPECT_EQ(-1, push(p));
    AVData i = iFrame(kT0 + 40000);
    i.setSequenceId(5);  // 3 frames never came
    EXPECT_EQ(0, push(i));
    EXPECT_EQ(1u, m_queue.getFrameQueueLost());
    HostClock::shift(601);
    AVData next = pFrame(kT0 + 80000);
    next.setSequenceId(6);
    EXPECT_EQ(0, push(next));
    HostClock::reset();
    EXPECT_EQ(0u, m_queue.getFrameQueueLost());
    EXPECT_EQ(0u, m_queue.getValidLostPFrame());
    std::string log = readWhole(HostPaths::getLogDir() + "/FrameQueueError.log");
    EXPECT_NE(std::string::npos,
              log.find("DataSourceLostFrame:3,FramQueueLost:1,IFrameLost:0,FrameQueueDiscard:0,"
                       "IFrameDiscard:0, ValidLostPFrame:1"))
        << log;
}

TEST_F(TSFrameQueueTest, SnapshotModeKeepsJpegPicturesAsTheyAre) {
    TSFrameQueue queue(100000);
    queue.setSnapshot(true);
    AVData jpeg = frame(1, 1, kT0, 3000);
    jpeg.setEncoderType(2);
    EXPECT_EQ(0, queue.pushAVData(&jpeg));
    AVData h264 = iFrame(kT0);
    EXPECT_EQ(-1, queue.pushAVData(&h264));
    TSAVData* out = nullptr;
    ASSERT_TRUE(queue.frontAVData(&out));
    EXPECT_EQ(std::string(3000, 'I'), blockBytes(out));
    queue.popAVData();
    EXPECT_TRUE(queue.isEmpty());

    // Pre-recording keeps only the last seconds.
    queue.setPreRecordFlag(true);
    queue.setPreRecordTime(2);
    for (int s = 0; s < 5; ++s) {
        jpeg.setTimeStamp(kT0 + s * kSecond);
        EXPECT_EQ(0, queue.pushAVData(&jpeg));
    }
    ASSERT_TRUE(queue.frontAVData(&out));
    EXPECT_EQ(kT0 + 3 * kSecond, out->getTimeStamp());
    queue.setPreRecordTime(0);
    EXPECT_EQ(-3, queue.pushAVData(&jpeg));
    EXPECT_TRUE(queue.isEmpty());
}

// The shipped streams from pushAVData to record files on a temporary disk,
// read back by ffmpeg.
class TSFrameQueueRecordingTest : public TSFrameQueueTest {
protected:
    void SetUp() override {
        TSFrameQueueTest::SetUp();
        if (!FfprobeCheck::available()) GTEST_SKIP() << "ffprobe is not installed";
        m_dir.setRecordRootDir(m_disk.path("sda1"));
        m_dir.setRecordDiskName("sda1");
        m_dir.setFileSegmentSize(4 * 1024 * 1024);
        m_dir.setDiskType(1);
        LastRecordFileInfoManager::getInstance()->clear();
        RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir});
        m_info.setDeviceId("NVR");
        m_info.setDeviceIP("10.0.0.7");
        m_info.setCameraId(2);
        ASSERT_EQ(0, m_storage.open(m_info, false));
    }
    void TearDown() override {
        m_storage.close();
        RecordDiskManagerImpl::getInstance()->clear();
        LastRecordFileInfoManager::getInstance()->clear();
    }

    // Pushes every frame; after every nDrainEvery pushes the consumer writes
    // one block (0: all there are). Answers the video frames the queue took.
    int record(TSFrameQueue& queue, std::vector<AVData> const& frames, int nDrainEvery) {
        int taken = 0;
        int sinceLastIFrame = 0;
        int pushes = 0;
        for (AVData const& f : frames) {
            int const result = queue.pushAVData(&f);
            EXPECT_TRUE(result == 0 || result == -1 || result == -2) << result;
            if (f.getESStreamType() == 1 && result == 0) {
                ++taken;
                sinceLastIFrame = f.getFrameType() == 1 ? 1 : sinceLastIFrame + 1;
            }
            if (nDrainEvery == 0 || ++pushes % nDrainEvery == 0) drain(queue, nDrainEvery == 0 ? 1000000 : 1);
        }
        drain(queue, 1000000);
        // The block still being built is not readable.
        return taken - sinceLastIFrame;
    }

    void drain(TSFrameQueue& queue, int blocks) {
        TSAVData* out = nullptr;
        while (blocks > 0 && queue.frontAVData(&out)) {
            if (out != nullptr) {
                m_storage.write(0, out);
                --blocks;
                out = nullptr;
            }
            queue.popAVData();
        }
    }

    // The record files of the day, in order, as one file.
    std::string joinFiles() {
        std::string const dir = m_dir.getRecordRootDir() + "/record/NVR_10.0.0.7_2/2024-01-01";
        std::vector<std::string> names;
        if (DIR* handle = opendir(dir.c_str())) {
            while (dirent* entry = readdir(handle)) {
                std::string name = entry->d_name;
                if (name.size() > 3 && name.substr(name.size() - 3) == ".ts") names.push_back(name);
            }
            closedir(handle);
        }
        std::sort(names.begin(), names.end());
        m_nFiles = static_cast<int>(names.size());
        std::string all;
        for (std::string const& name : names) all += readWhole(dir + "/" + name);
        EXPECT_TRUE(m_disk.writeFile("joined.ts", all));
        return m_disk.path("joined.ts");
    }

    void expectReadableVideo(std::string const& file, int frames) {
        std::vector<double> times = FfprobeCheck::packetTimes(file, 0);
        EXPECT_EQ(static_cast<size_t>(frames), times.size());
        for (size_t i = 1; i < times.size(); ++i) ASSERT_LE(times[i - 1], times[i]) << i;
        EXPECT_EQ("", FfprobeCheck::decodeErrors(file));
    }

    TempDir m_disk;
    RecordDirInfoEx m_dir;
    RecordInfo m_info;
    RecordStorage m_storage;
    int m_nFiles = 0;
};

TEST_F(TSFrameQueueRecordingTest, EveryStoredFrameReadsBackInOrder) {
    TestStreams::VideoOptions cif;
    cif.nWidth = 640;
    cif.nHeight = 360;
    std::vector<AVData> video =
        TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264", cif);
    std::vector<AVData> sound = TestStreams::readALaw(std::string(RECSTORE_TESTDATA_DIR) + "/tone8k_20s.alaw");
    TSFrameQueue queue(3 * 1024 * 1024);
    m_storage.setTSFrameQueue(&queue);
    int const stored = record(queue, TestStreams::interleave(video, sound), 0);
    EXPECT_EQ(450, stored);  // 500 frames, the last group of 50 still being built
    std::string const file = joinFiles();
    EXPECT_EQ((std::vector<std::string>{"h264", "bin_data"}), FfprobeCheck::codecNames(file));
    expectReadableVideo(file, stored);
    TsPacketReader in(readWhole(file));
    EXPECT_TRUE(in.getErrors().empty()) << in.getErrors()[0];
    EXPECT_EQ(static_cast<size_t>(stored), in.getPes(kVideoPid).size());
    EXPECT_EQ(900u, in.getPes(kAudioPid).size());
}

TEST_F(TSFrameQueueRecordingTest, EveryRecordFileIsAPlayableStreamOfItsOwn) {
    m_dir.setFileSegmentSize(1024 * 1024);
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir});
    TestStreams::VideoOptions cif;
    cif.nWidth = 640;
    cif.nHeight = 360;
    std::vector<AVData> video =
        TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264", cif);
    std::vector<AVData> sound = TestStreams::readALaw(std::string(RECSTORE_TESTDATA_DIR) + "/tone8k_20s.alaw");
    TSFrameQueue queue(3 * 1024 * 1024);
    m_storage.setTSFrameQueue(&queue);
    int const stored = record(queue, TestStreams::interleave(video, sound), 0);
    m_storage.close();

    std::string const dir = m_dir.getRecordRootDir() + "/record/NVR_10.0.0.7_2/2024-01-01";
    std::vector<std::string> names;
    DiskManagerFactory::getDiskManager(1, 0)->getFileList(dir.c_str(), names, "*.ts", 0);
    ASSERT_GE(names.size(), 2u);
    size_t frames = 0;
    for (std::string const& name : names) {
        SCOPED_TRACE(name);
        std::string const file = dir + "/" + name;
        EXPECT_EQ((std::vector<std::string>{"h264", "bin_data"}), FfprobeCheck::codecNames(file));
        std::vector<double> times = FfprobeCheck::packetTimes(file, 0);
        for (size_t i = 1; i < times.size(); ++i) ASSERT_LE(times[i - 1], times[i]) << i;
        EXPECT_EQ("", FfprobeCheck::decodeErrors(file));
        frames += times.size();
    }
    EXPECT_EQ(static_cast<size_t>(stored), frames);
}

// The camera model of the queue: I and P frames only (the CIF stream; the HD
// one has B frames, whose references a lost end of a group would break).
TEST_F(TSFrameQueueRecordingTest, SlowConsumerLosesWholeGroupsAndTheStreamStaysDecodable) {
    TestStreams::VideoOptions cif;
    cif.nWidth = 640;
    cif.nHeight = 360;
    std::vector<AVData> video =
        TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264", cif);
    ASSERT_EQ(500u, video.size());
    TSFrameQueue queue(512 * 1024);
    m_storage.setTSFrameQueue(&queue);
    int const stored = record(queue, video, 80);  // one block (50 frames) per 80 frames
    EXPECT_LT(stored, 500);
    EXPECT_GT(queue.getFrameQueueLost(), 0u);
    std::string const file = joinFiles();
    TsPacketReader in(readWhole(file));
    // Counters jump where data was lost, and only there is anything amiss.
    for (std::string const& error : in.getErrors())
        EXPECT_NE(std::string::npos, error.find("continuity counter jump")) << error;
    size_t const written = in.getPes(kVideoPid).size();
    EXPECT_GT(written, 0u);
    // Every group of pictures written opens with its I frame and has no hole:
    // what is lost of a group is its end.
    size_t j = 0;
    size_t previous = 0;
    for (TsPacketReader::Pes const& one : in.getPes(kVideoPid)) {
        std::string const payload(one.payload.begin(), one.payload.end());
        while (j < video.size() &&
               std::string(video[j].getData(), video[j].getDataLength()) != payload)
            ++j;
        ASSERT_LT(j, video.size());
        if (one.bRandomAccess)
            EXPECT_EQ(0u, j % 50) << j;
        else
            EXPECT_EQ(previous + 1, j) << j;
        previous = j++;
    }
    expectReadableVideo(file, static_cast<int>(written));
}

}  // namespace
