#include "recording/TSFrameQueue.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/CommonLog.h"
#include "foundation/OVMutexManager.h"
#include "foundation/StorageParameterManage.h"
#include "foundation/TimeStampCalculator.h"
#include "host/CircleQueue.h"
#include "host/MPEG_TS_Packager.h"
#include "host/OVDateTime.h"
#include "host/OVTime.h"
#include "host/OrvaneTime.h"
#include "host/TSPrivateDataParser.h"
#include "host/TimeConverter.h"
#include "recording/AVDataPackagerFactory.h"

namespace NS_TSFrameQueue {

int const kMarkQueueSize = 36000;  // 500 marks
int const kMarkRecords = kMarkQueueSize / MarkData::kSize;
// A frame may close the block being built, give up the ring's end and open a
// block. The block being built is counted as if it were in the ring already,
// so closing it always finds room: a frame needs two records.
int const kMarksPerFrame = 2;
static_assert(kMarkQueueSize % MarkData::kSize == 0, "a record never runs over the ring's end");
int const kAlignReserve = 4096;    // kept free for the direct I/O alignment of the ring
int const kPackLimit = 2073600;
int const kAudioBufferSize = 51200;
int const kMaxBlockLength = 0x100000;
long long const kSecond = 1000000;
long long const kMaxIFrameGap = 10 * kSecond;
long long const kDiscontinuityGap = 10 * kSecond;
long long const kDateSwitchGap = 60 * kSecond;
long long const kTimeLineRestartGap = 15 * kSecond;
long long const kDefaultIFrameInterval = 3 * kSecond;
int const kMaxTopInterval = 3;
int const kVideo = 1;
int const kAudio = 2;
int const kIFrame = 1;
int const kJpegEncoder = 2;
int const kH264Encoder = 1;
int const kDefaultAudioEncoder = 101;
unsigned char const kSyncByte = 0x47;

std::string timeText(long long microseconds) {
    unsigned long const seconds = static_cast<unsigned long>(microseconds / kSecond);
    std::string text;
    TimeConverter::longToStr(seconds, text);
    return text;
}

}  // namespace NS_TSFrameQueue

using namespace NS_TSFrameQueue;

TSFrameQueue::TSFrameQueue(int nSize)
    : m_pMarkQueue(new CircleQueue(kMarkQueueSize, false)),
      m_pDataQueue(new CircleQueue(nSize < 0 ? 0u : static_cast<unsigned int>(nSize), false)),
      m_bWaitIFrame(true),
      m_nFrameQueueLost(0),
      m_nIFrameLost(0),
      m_bDiscardPFrame(true),
      m_nLastPartitionTime(0),
      m_nLastVideoTime(0),
      m_nFrameQueueDiscard(0),
      m_nIFrameDiscard(0),
      m_nValidLostPFrame(0),
      m_pTimeStampCalculator(new TimeStampCalculator()),
      m_nLastTSTimeStamp(0),
      m_bResetPackager(true),
      m_nIFrameInterval(kDefaultIFrameInterval),
      m_nLastSequenceId(0),
      m_bPreRecordFlag(false),
      m_nPreRecordTime(0),
      m_nSize(nSize),
      m_nImageWidth(800),
      m_nImageHeight(600),
      m_bDiscontinuity(false),
      m_nVideoEncoderType(kH264Encoder),
      m_nAudioEncoderType(kDefaultAudioEncoder),
      m_nLastWriteEnd(0),
      m_bCommonFile(false),
      m_bSnapshot(false),
      m_pAudioBuffer(new char[kAudioBufferSize]),
      m_nAudioLen(0),
      m_nSwitchDateTime(0),
      m_nBlockLength(0),
      m_outData(new TSAVData()),
      m_nPrintSequenceId(0),
      m_nSourceLost(0),
      m_dLastReportTime(OVTime::getSeconds()),
      m_pCommonLog(new CommonLog()),
      m_bAfterWrap(false),
      m_strDeviceId("NULL"),
      m_nCameraId(1),
      m_nStorageMode(0),
      m_nResetInterval(90),
      m_pCurrentMark(new MarkData()),
      m_bIFrameOnly(false),
      m_nLastFrameTime(-1),
      m_bFrontOut(false),
      m_bFrontEvicted(false),
      m_nPassedSkipOffset(-1),
      m_nOutOffset(0),
      m_nOutLength(0),
      m_bTimeLinePending(false) {
    std::memset(m_szPrivateData, 0, sizeof(m_szPrivateData));
    std::memset(m_pAudioBuffer, 0, kAudioBufferSize);
    AVDataPackagerFactory::create(DataPackageTS, m_packager);
    // Video first: it takes the first elementary PID (0x100), audio the next.
    m_packager->setVideoEncoderType(static_cast<EncoderType::ES_STREAM_TYPE>(m_nVideoEncoderType));
    m_packager->setAudioEncoderType(static_cast<EncoderType::ES_STREAM_TYPE>(m_nAudioEncoderType));
}

TSFrameQueue::~TSFrameQueue() {
    delete m_pCurrentMark;
    delete m_pCommonLog;
    delete m_outData;
    delete[] m_pAudioBuffer;
    delete m_pTimeStampCalculator;
    delete m_pDataQueue;
    delete m_pMarkQueue;
}

// ---------------------------------------------------------------- producer

int TSFrameQueue::pushAVData(AVData const* frame) {
    if (frame == nullptr || frame->getDataLength() == 0) return 1;
    return pushFrame(FrameRef{frame, frame, nullptr, frame->getDataLength()});
}

int TSFrameQueue::pushAVData(AVDataEX* frame) {
    if (frame == nullptr || frame->getDataLength() == 0) return 1;
    return pushFrame(FrameRef{frame, nullptr, frame, frame->getDataLength()});
}

int TSFrameQueue::pushFrame(FrameRef const& frame) {
    if (m_bSnapshot) return pushSnapshotAVData(frame);
    return pushRecordAVData(frame);
}

int TSFrameQueue::spaceSizeCalculator(FrameRef const& frame) {
    AVFrameFields const& f = *frame.pFields;
    long long length = frame.nLength;
    int reserve = MPEG_TS::kTsPacketSize;
    if (f.getESStreamType() == kVideo && f.getFrameType() == kIFrame) {
        length += TSPrivateDataParser::kPrivateDataLength;
        reserve = 3 * MPEG_TS::kTsPacketSize;
    }
    // floor((L + 0.2 L) / 188) in integers: 1.2 L / 188 is 6 L / 940.
    long long const packets = (6 * length) / (5 * MPEG_TS::kTsPacketSize);
    return static_cast<int>(MPEG_TS::kTsPacketSize * packets + reserve);
}

bool TSFrameQueue::tailHasEnoughSpace(int n) const {
    return m_pDataQueue->getTailSpaceSize() - kAlignReserve >= n;
}

bool TSFrameQueue::headHasEnoughSpace(int n) const {
    return m_pDataQueue->getHeadSpaceSize() - m_pDataQueue->getWritePtr() % kAlignReserve >= n;
}

bool TSFrameQueue::markRingIsFull() const {
    int const inUse =
        m_pMarkQueue->getDataSize() / MarkData::kSize + (m_pCurrentMark->getFrameNum() > 0 ? 1 : 0);
    return kMarkRecords - inUse < kMarksPerFrame;
}

bool TSFrameQueue::cacheIsFull(int n) const {
    return markRingIsFull() || (!tailHasEnoughSpace(n) && !headHasEnoughSpace(n));
}

bool TSFrameQueue::isNeedDiscard(FrameRef const& frame) const {
    AVFrameFields const& f = *frame.pFields;
    if (f.getESStreamType() == kVideo) {
        if (f.getFrameType() == kIFrame) return false;
        return m_bWaitIFrame || m_bDiscardPFrame;
    }
    if (f.getESStreamType() == kAudio) return m_bWaitIFrame;
    return false;
}

bool TSFrameQueue::isBeyondMaxIFramInterval(FrameRef const& frame) const {
    AVFrameFields const& f = *frame.pFields;
    if (f.getESStreamType() != kVideo || f.getFrameType() == kIFrame) return false;
    return f.getTimeStamp() - m_nLastPartitionTime > kMaxIFrameGap;
}

void TSFrameQueue::increaseDropFrame(FrameRef const& frame) {
    if (frame.pFields->getESStreamType() == kVideo) ++m_nFrameQueueLost;
    if (frame.pFields->getFrameType() == kIFrame) ++m_nIFrameLost;
}

void TSFrameQueue::printMessage(FrameRef const& frame) {
    AVFrameFields const& f = *frame.pFields;
    if (f.getESStreamType() != kVideo) return;
    unsigned int const sequence = f.getSequenceId();
    if (m_nPrintSequenceId != 0 && sequence > m_nPrintSequenceId + 1)
        m_nSourceLost += sequence - m_nPrintSequenceId - 1;
    m_nPrintSequenceId = sequence;

    double const now = OVTime::getSeconds();
    int const interval = StorageParameterManage::getInstance()->getTSFrameQueuePrintInterval();
    if (now - m_dLastReportTime < interval) return;
    m_dLastReportTime = now;
    if (m_nSourceLost == 0 && m_nFrameQueueLost == 0 && m_nIFrameLost == 0 && m_nFrameQueueDiscard == 0 &&
        m_nIFrameDiscard == 0 && m_nValidLostPFrame == 0)
        return;
    char text[512];
    std::snprintf(text, sizeof(text),
                  "DataSourceLostFrame:%d,FramQueueLost:%lld,IFrameLost:%lld,FrameQueueDiscard:%lld,"
                  "IFrameDiscard:%lld, ValidLostPFrame:%lld",
                  static_cast<int>(m_nSourceLost), static_cast<long long>(m_nFrameQueueLost),
                  static_cast<long long>(m_nIFrameLost), static_cast<long long>(m_nFrameQueueDiscard),
                  static_cast<long long>(m_nIFrameDiscard), static_cast<long long>(m_nValidLostPFrame));
    m_pCommonLog->writeLog("printMessage", 0, text);
    m_nSourceLost = 0;
    m_nFrameQueueLost = 0;
    m_nIFrameLost = 0;
    m_nFrameQueueDiscard = 0;
    m_nIFrameDiscard = 0;
    m_nValidLostPFrame = 0;
}

bool TSFrameQueue::isNeedPartition(FrameRef const& frame) const {
    AVFrameFields const& f = *frame.pFields;
    if (f.getESStreamType() != kVideo) return false;
    if (f.getFrameType() == kIFrame && f.getEncoderType() == kH264Encoder) return true;
    if (m_nBlockLength >= kMaxBlockLength) return true;
    return f.getTimeStamp() - m_nLastPartitionTime > m_nIFrameInterval;
}

void TSFrameQueue::refreshSwitchDate(FrameRef const& frame) {
    AVFrameFields const& f = *frame.pFields;
    if (f.getESStreamType() != kVideo) return;
    long long const seconds = f.getTimeStamp() / kSecond;
    OVDateTime local;
    if (!OrvaneTime::getStructTime(local, static_cast<unsigned long>(seconds))) return;
    // Midnight of the next local date, not 24 hours after this one's: a day
    // with a daylight saving change has 23 or 25.
    OVDateTime next;
    next.year = local.year;
    next.month = local.month;
    next.day = local.day + 1;
    unsigned long midnight = 0;
    if (OrvaneTime::getLongTime(midnight, next))
        m_nSwitchDateTime = static_cast<long long>(midnight) * kSecond;
    else
        m_nSwitchDateTime = (seconds + 86400 - 3600LL * local.hour - 60LL * local.minute - local.second) * kSecond;
}

void TSFrameQueue::initAVDataPackager(long long nBase, unsigned int nSequenceId) {
    m_packager->reinit();
    m_pTimeStampCalculator->start(nBase, nSequenceId);
}

int TSFrameQueue::dropAtBoundary(FrameRef const& frame) {
    m_bDiscardPFrame = true;
    m_bWaitIFrame = true;
    ++m_nValidLostPFrame;
    increaseDropFrame(frame);
    return -1;
}

int TSFrameQueue::pushRecordAVData(FrameRef const& frame) {
    AVFrameFields const& f = *frame.pFields;
    bool const bVideo = f.getESStreamType() == kVideo;
    bool const bAudio = f.getESStreamType() == kAudio;
    bool const bIFrame = bVideo && f.getFrameType() == kIFrame;
    bool const bPFrame = bVideo && !bIFrame;
    long long const time = f.getTimeStamp();
    char text[256];

    OV_LOCK_GUARD(pushGuard, m_pushMutex);

    if (bVideo) {
        if (m_nLastFrameTime >= 0 && time / kSecond - m_nLastFrameTime / kSecond >= 4 &&
            f.getSequenceId() - m_nPrintSequenceId == 1) {
            std::snprintf(text, sizeof(text), "time stamp %s->%s", timeText(m_nLastFrameTime).c_str(),
                          timeText(time).c_str());
            m_pCommonLog->writeLog(text);
        }
        m_nLastFrameTime = time;
    }
    printMessage(frame);

    if (isNeedDiscard(frame)) {
        increaseDropFrame(frame);
        if (bPFrame) ++m_nValidLostPFrame;
        return -1;
    }
    // Only an I frame ends dropping P frames: were audio to end it, the rest
    // of a group would come in behind the hole and could not be decoded.
    if (bIFrame) m_bDiscardPFrame = false;
    if (isBeyondMaxIFramInterval(frame)) {
        m_bDiscardPFrame = true;
        ++m_nValidLostPFrame;
        increaseDropFrame(frame);
        return -1;
    }

    // The packager answers 0 for a frame it cannot hold in its limit; packed
    // as nothing, such a frame would leave an empty block that reads as a
    // corrupt ring and costs the whole queue. It is refused here instead, as
    // one that finds no room, with the P frames that depend on it.
    if (!IAVDataPackager::fits(frame.nLength, kPackLimit)) {
        m_bDiscardPFrame = true;
        increaseDropFrame(frame);
        return -2;
    }

    int const n = spaceSizeCalculator(frame);
    if (cacheIsFull(n)) {
        if (!bIFrame) {
            m_bDiscardPFrame = true;
            increaseDropFrame(frame);
            return -2;
        }
        // Only an I frame may push the oldest groups of pictures out.
        pushNewMark();
        dropPreRecordBySize(n);
        if (cacheIsFull(n)) {
            // The P frames behind a lost I frame could not be decoded.
            m_bDiscardPFrame = true;
            increaseDropFrame(frame);
            return -2;
        }
    }

    if (!tailHasEnoughSpace(n)) {
        pushNewMark();
        disuseTail(frame);
        m_bAfterWrap = true;
    }

    if (bAudio) {
        if (f.getEncoderType() != m_nAudioEncoderType) {
            m_nAudioEncoderType = f.getEncoderType();
            m_packager->setAudioEncoderType(static_cast<EncoderType::ES_STREAM_TYPE>(m_nAudioEncoderType));
        }
        if (m_bAfterWrap) {
            // Audio waits behind the wrap until a video frame opens the block at the ring's start.
            if (m_nAudioLen + n > kAudioBufferSize) return -4;
            int const packed = packFrame(frame, reinterpret_cast<unsigned char*>(m_pAudioBuffer + m_nAudioLen),
                                         kPackLimit);
            m_nAudioLen += packed;
            return 0;
        }
    }

    bool bNewBlock = bVideo ? m_bAfterWrap : false;

    if (bVideo) {
        if (f.getEncoderType() != m_nVideoEncoderType) {
            std::snprintf(text, sizeof(text), "video encoder change (Last:%d,Curr:%d)", m_nVideoEncoderType,
                          f.getEncoderType());
            m_pCommonLog->writeLog(text);
            m_nVideoEncoderType = f.getEncoderType();
            m_packager->setVideoEncoderType(static_cast<EncoderType::ES_STREAM_TYPE>(m_nVideoEncoderType));
            m_bDiscontinuity = true;
            m_bResetPackager = true;
            if (bPFrame) return dropAtBoundary(frame);
            bNewBlock = true;
        }
        if (time < m_nLastVideoTime) {
            m_bDiscontinuity = true;
            m_bResetPackager = true;
            if (bPFrame) return dropAtBoundary(frame);
            std::snprintf(text, sizeof(text), "time stamp rollback %s <-- %s", timeText(time).c_str(),
                          timeText(m_nLastVideoTime).c_str());
            m_pCommonLog->writeLog(text);
            bNewBlock = true;
        }
        if (time >= m_nSwitchDateTime && time - m_nLastVideoTime > kDateSwitchGap) {
            m_bDiscontinuity = true;
            if (bPFrame) return dropAtBoundary(frame);
            std::snprintf(text, sizeof(text), "date switch %s->%s", timeText(m_nLastVideoTime).c_str(),
                          timeText(time).c_str());
            m_pCommonLog->writeLog(text);
            bNewBlock = true;
        }
        if (!m_bCommonFile && time - m_nLastVideoTime >= kDiscontinuityGap) {
            m_bDiscontinuity = true;
            if (bPFrame) return dropAtBoundary(frame);
            bNewBlock = true;
        }
        if (f.getImageWidth() != m_nImageWidth || f.getImageHeight() != m_nImageHeight) {
            m_bDiscontinuity = true;
            int const oldWidth = m_nImageWidth;
            int const oldHeight = m_nImageHeight;
            m_nImageWidth = f.getImageWidth();
            m_nImageHeight = f.getImageHeight();
            if (!bIFrame) return dropAtBoundary(frame);
            std::snprintf(text, sizeof(text), "Image change time:%s %d*%d->%d*%d", timeText(time).c_str(),
                          oldWidth, oldHeight, m_nImageWidth, m_nImageHeight);
            m_pCommonLog->writeLog(text);
            bNewBlock = true;
        }
    }

    if (m_bResetPackager) {
        initAVDataPackager(0, f.getSequenceId());
        m_bResetPackager = false;
        m_bTimeLinePending = false;
    }

    if (isNeedPartition(frame)) bNewBlock = true;
    // Waiting ends only with an I frame that opens a block; a block is never
    // continued from an empty mark.
    if (bIFrame && m_bWaitIFrame) bNewBlock = true;
    if (bVideo && m_pCurrentMark->getFrameNum() == 0) bNewBlock = true;

    if (bVideo && m_nLastPartitionTime != 0 && time - m_nLastPartitionTime >= kTimeLineRestartGap) {
        // Over a long gap the PCR line goes on in whole seconds.
        m_pTimeStampCalculator->start(((m_nLastTSTimeStamp + kSecond) / kSecond) * kSecond, 0);
        m_bTimeLinePending = false;
    }
    if (bVideo && m_bTimeLinePending) {
        // The line restarted by updata ends on the last queued frame; this one
        // comes its own interval later, not at the same instant.
        long long const interval = time > m_nLastVideoTime ? time - m_nLastVideoTime : 0;
        m_pTimeStampCalculator->start(m_nLastTSTimeStamp + interval, m_pTimeStampCalculator->getFrameRate());
        m_bTimeLinePending = false;
    }

    if (m_bDiscontinuity || time > m_nSwitchDateTime) refreshSwitchDate(frame);

    int const w = m_pDataQueue->getWritePtr();
    int const packed = packageAVData(frame);
    m_nBlockLength += packed;
    m_nLastWriteEnd = w + packed;
    m_bAfterWrap = false;

    if (bNewBlock) {
        m_nLastPartitionTime = time;
        if (bIFrame) m_bWaitIFrame = false;
        m_nBlockLength = packed;
        pushNewMark();
        m_pCurrentMark->setFirstFrameTimeStamp(time);
        addNewMarkFlag(frame, w, 0, packed, *m_pCurrentMark);
    } else if (m_pCurrentMark->getFrameNum() == 0) {
        // Audio behind an evicted or given-up block starts the mark it lands in.
        m_pCurrentMark->setFirstFrameTimeStamp(time);
        addNewMarkFlag(frame, w, 0, packed, *m_pCurrentMark);
    }

    if (bVideo) m_pCurrentMark->setLastFrameTimeStamp(time);
    TSFrameInfo info;
    info.nFrameType = f.getFrameType();
    info.nFrameLength = packed;
    info.nOffset = w;
    if (!m_pCurrentMark->addTSFrameInfo(info)) m_pCommonLog->writeUnRepeatInfo(1564, 0, "add ts frame over limit");
    if (bIFrame && m_nStorageMode == 1) m_bIFrameOnly = true;
    if (bPFrame) m_bIFrameOnly = false;
    if (bVideo) m_nLastVideoTime = time;
    return 0;
}

int TSFrameQueue::packFrame(FrameRef const& frame, unsigned char* out, int nLimit) {
    AVFrameFields const& f = *frame.pFields;
    bool const bIFrame = f.getESStreamType() == kVideo && f.getFrameType() == kIFrame;
    if (frame.pData != nullptr && f.getESStreamType() != kVideo) {
        // Only video goes to the packager without a copy of its bytes; audio
        // frames are small.
        m_packAudio = *frame.pData;
        long long const line = m_pTimeStampCalculator->getTimeStamp(&m_packAudio);
        m_nLastTSTimeStamp = line;
        m_packAudio.setTimeStamp(line);
        return m_packager->packet(&m_packAudio, out, nLimit);
    }
    static_cast<AVFrameFields&>(m_packView) = f;
    if (frame.pDataEx != nullptr) {
        m_packView.setData(frame.pDataEx->getData());
    } else {
        DataInfo piece;
        piece.pData = frame.pData->getData();
        piece.nLength = frame.pData->getDataLength();
        m_packView.setData(std::vector<DataInfo>(1, piece));
    }
    if (bIFrame) {
        ST_TS_PRIVATE_DATA record;
        record.nSequenceId = f.getSequenceId();
        record.nImageFormatId = static_cast<uint16_t>(f.getImageFormatId());
        record.nImageHeight = static_cast<uint16_t>(f.getImageHeight());
        record.nImageWidth = static_cast<uint16_t>(f.getImageWidth());
        record.nFrameRate = static_cast<uint16_t>(f.getFrameRate());
        record.nBitRate = static_cast<uint32_t>(f.getBitRate());
        record.nTimeStamp = f.getTimeStamp();
        TSPrivateDataParser::packetTSPrivateData(record, m_szPrivateData);
        m_packView.setPrivateData(m_szPrivateData, TSPrivateDataParser::kPrivateDataLength);
    }
    long long const line = m_pTimeStampCalculator->getTimeStamp(&m_packView);
    m_nLastTSTimeStamp = line;
    m_packView.setTimeStamp(line);
    return m_packager->packet(&m_packView, out, nLimit);
}

int TSFrameQueue::packageAVData(FrameRef const& frame) {
    unsigned char* out = reinterpret_cast<unsigned char*>(m_pDataQueue->getWriteAddress());
    int packed = packFrame(frame, out, kPackLimit);
    m_pDataQueue->pushInvalid(packed);
    if (m_nAudioLen > 0) {
        // Held audio goes in behind; if even that does not fit it is lost
        // rather than written over data not yet read.
        if (m_pDataQueue->push(m_pAudioBuffer, m_nAudioLen))
            packed += m_nAudioLen;
        else
            m_pCommonLog->writeUnRepeatInfo(1565, 0, "held audio lost");
        m_nAudioLen = 0;
    }
    m_nLastSequenceId = frame.pFields->getSequenceId();
    return packed;
}

void TSFrameQueue::addNewMarkFlag(FrameRef const& frame, int nOffset, int nTopInterval, int nLength,
                                  MarkData& mark) {
    AVFrameFields const& f = *frame.pFields;
    mark.setDiscontinuityIndicator(m_bDiscontinuity);
    m_bDiscontinuity = false;
    mark.setOffset(nOffset);
    mark.setTopIntervalTime(nTopInterval);
    mark.setFirstFrameLen(nLength);
    mark.setTimeStamp(f.getTimeStamp());
    mark.setTimeZone(f.getTimeZone());
    mark.setDaylightSavingTime(f.getDaylightSavingTime());
    mark.setImageWidth(f.getImageWidth());
    mark.setImageHeight(f.getImageHeight());
    mark.setESStreamType(f.getESStreamType());
    mark.setFrameType(f.getFrameType());
    mark.setEncoderType(f.getEncoderType());
}

void TSFrameQueue::pushNewMark() {
    if (m_pCurrentMark->getFrameNum() > 0) {
        char record[MarkData::kSize];
        m_pCurrentMark->writeTo(record);
        m_pMarkQueue->push(record, MarkData::kSize);
    }
    m_pCurrentMark->zero();
}

void TSFrameQueue::disuseTail(FrameRef const& frame) {
    AVFrameFields const& f = *frame.pFields;
    long long const time = f.getTimeStamp();
    long long const t =
        (f.getESStreamType() == kVideo && time >= m_nLastPartitionTime) ? time : m_nLastVideoTime;
    long long interval = (t - m_nLastPartitionTime) / kSecond;
    if (interval > kMaxTopInterval) interval = kMaxTopInterval;
    int const tail = m_pDataQueue->getTailSpaceSize();
    MarkData skip;
    skip.zero();
    skip.setIsInvalid(true);
    skip.setOffset(m_pDataQueue->getWritePtr());
    skip.setInvalidSpaceLen(tail);
    skip.setTopIntervalTime(static_cast<int>(interval));
    skip.setTimeStamp(t);
    m_pDataQueue->pushInvalid(tail);
    char record[MarkData::kSize];
    skip.writeTo(record);
    m_pMarkQueue->push(record, MarkData::kSize);
}

void TSFrameQueue::dropPreRecordBySize(int n) {
    // The same test as the one that found the cache full: a looser one would
    // refuse the I frame while older groups could still go.
    while (cacheIsFull(n) && discardDataBlock() > 0) {
    }
}

int TSFrameQueue::pushSnapshotAVData(FrameRef const& frame) {
    AVFrameFields const& f = *frame.pFields;
    OV_LOCK_GUARD(pushGuard, m_pushMutex);
    if (m_bPreRecordFlag && m_nPreRecordTime == 0) {
        OV_LOCK_GUARD(popGuard, m_popMutex);
        cleanLocked();
        return -3;
    }
    if (f.getESStreamType() != kVideo || f.getEncoderType() != kJpegEncoder) {
        ++m_nFrameQueueLost;
        return -1;
    }
    if (m_bPreRecordFlag && m_nPreRecordTime > 0) {
        MarkData front;
        while (peekFrontMark(front) && f.getTimeStamp() - front.getTimeStamp() >= m_nPreRecordTime) {
            if (discardDataBlock() <= 0) break;
        }
    }
    int const n = spaceSizeCalculator(frame);
    if (cacheIsFull(n)) {
        if (!m_bPreRecordFlag) {
            m_bDiscardPFrame = true;
            ++m_nFrameQueueLost;
            return -2;
        }
        while (cacheIsFull(n)) {
            // Nothing more can go while the writer holds the oldest picture:
            // this one is not kept, and is counted as lost.
            if (discardDataBlock() <= 0) {
                ++m_nFrameQueueLost;
                return 0;
            }
        }
    }
    int const length = static_cast<int>(frame.nLength);
    if (!tailHasEnoughSpace(n)) {
        int const tail = m_pDataQueue->getTailSpaceSize();
        MarkData skip;
        skip.zero();
        skip.setIsInvalid(true);
        skip.setOffset(m_pDataQueue->getWritePtr());
        skip.setInvalidSpaceLen(tail);
        skip.setSnapDataLen(tail);
        m_pDataQueue->pushInvalid(tail);
        char record[MarkData::kSize];
        skip.writeTo(record);
        m_pMarkQueue->push(record, MarkData::kSize);
    }
    int const w = m_pDataQueue->getWritePtr();
    char* out = m_pDataQueue->getWriteAddress();
    if (frame.pData != nullptr) {
        std::memcpy(out, frame.pData->getData(), frame.nLength);
    } else {
        for (DataInfo const& piece : frame.pDataEx->getData()) {
            if (piece.pData == nullptr) continue;
            std::memcpy(out, piece.pData, piece.nLength);
            out += piece.nLength;
        }
    }
    m_pDataQueue->pushInvalid(length);
    m_nLastWriteEnd = w + length;

    MarkData mark;
    m_bDiscontinuity = false;
    addNewMarkFlag(frame, w, 0, length, mark);
    mark.setSnapDataLen(length);
    mark.setFirstFrameTimeStamp(f.getTimeStamp());
    mark.setLastFrameTimeStamp(f.getTimeStamp());
    TSFrameInfo info;
    info.nFrameType = f.getFrameType();
    info.nFrameLength = length;
    info.nOffset = w;
    mark.addTSFrameInfo(info);
    char record[MarkData::kSize];
    mark.writeTo(record);
    m_pMarkQueue->push(record, MarkData::kSize);
    m_nLastPartitionTime = f.getTimeStamp();
    return 0;
}

// ---------------------------------------------------------------- consumer

bool TSFrameQueue::peekFrontMark(MarkData& mark) {
    // In place rather than through the iterator, which a lock-free reader
    // would share with the producer.
    char const* record = m_pMarkQueue->peek(MarkData::kSize);
    if (record == nullptr) return false;
    mark = MarkData::readFrom(record);
    return true;
}

int TSFrameQueue::recordLength(MarkData const& mark) const {
    if (mark.getIsInvalid()) return mark.getInvalidSpaceLen();
    return m_bSnapshot ? mark.getSnapDataLen() : mark.getFrameTotalLength();
}

int TSFrameQueue::spanThrough(MarkData const& mark) const {
    int const size = m_pDataQueue->getSize();
    int const offset = mark.getOffset();
    int const length = recordLength(mark);
    if (size <= 0 || offset < 0 || offset >= size || length < 0) return -1;
    // A block is one run; only given-up space may pass the ring's end.
    if (!mark.getIsInvalid() && offset + length > size) return -1;
    // The rings move together, so a span starts at the read position. Bytes
    // before it would belong to no record: they go with it, and the record's
    // own bytes are still the ones at its offset.
    long long const distance = (offset - m_pDataQueue->getReadPtr() + size) % size;
    long long const through = distance + length;
    if (through > m_pDataQueue->getDataSize()) return -1;
    return static_cast<int>(through);
}

bool TSFrameQueue::passHandedOutBlock() {
    // The front record holds the block being written: the block itself, or the
    // skip record of an earlier pass. It leaves the rings without its bytes
    // being freed: all free space through its end becomes one skip record at
    // the write end, which the consumer reaches only after popping the block.
    // The rings keep one order, so the block being built must be closed first.
    MarkData front;
    if (m_pCurrentMark->getFrameNum() > 0 || m_pMarkQueue->getDataSize() < 2 * MarkData::kSize ||
        !peekFrontMark(front))
        return false;
    int const through = spanThrough(front);
    if (through < 0 || !m_pDataQueue->pop(through)) return false;
    m_pMarkQueue->pop(MarkData::kSize);
    MarkData skip;
    skip.zero();
    skip.setIsInvalid(true);
    skip.setOffset(m_pDataQueue->getWritePtr());
    int skipped = 0;
    for (int run = m_pDataQueue->getTailSpaceSize(); run > 0 && m_pDataQueue->pushInvalid(run);
         run = m_pDataQueue->getTailSpaceSize())
        skipped += run;
    skip.setInvalidSpaceLen(skipped);
    char record[MarkData::kSize];
    skip.writeTo(record);
    m_pMarkQueue->push(record, MarkData::kSize);
    m_nPassedSkipOffset = skip.getOffset();
    m_bFrontEvicted = true;
    return true;
}

int TSFrameQueue::discardDataBlock() {
    // The push lock too: passing the block handed out writes at the write end.
    OV_LOCK_GUARD(pushGuard, m_pushMutex);
    OV_LOCK_GUARD(popGuard, m_popMutex);
    MarkData mark;
    bool const bFrontHeld = m_bFrontOut && peekFrontMark(mark) &&
                            (!m_bFrontEvicted || (mark.getIsInvalid() && mark.getOffset() == m_nPassedSkipOffset));
    if (bFrontHeld && !passHandedOutBlock()) return 0;
    int freed = 0;
    bool bFirstBlock = true;
    while (peekFrontMark(mark)) {
        bool const bBlock = !mark.getIsInvalid();
        if (bBlock && !bFirstBlock && mark.getFrameType() == kIFrame) break;
        if (!bBlock && m_bFrontEvicted && mark.getOffset() == m_nPassedSkipOffset) break;
        int const through = spanThrough(mark);
        if (through < 0 || !m_pDataQueue->pop(through)) break;
        m_pMarkQueue->pop(MarkData::kSize);
        freed += through;
        if (!bBlock) continue;
        bFirstBlock = false;
        if (mark.getFrameType() == kIFrame) {
            ++m_nIFrameLost;
            ++m_nIFrameDiscard;
        }
        m_nFrameQueueLost += static_cast<unsigned long long>(mark.getFrameNum());
        m_nFrameQueueDiscard += static_cast<unsigned long long>(mark.getFrameNum());
    }
    return freed;
}

bool TSFrameQueue::basePopAVData(bool& bIFrame, int& nFrameNum, int& nBytes) {
    MarkData mark;
    if (!peekFrontMark(mark)) return false;
    int const through = spanThrough(mark);
    if (through < 0 || !m_pDataQueue->pop(through)) return false;
    m_pMarkQueue->pop(MarkData::kSize);
    nBytes += through;
    if (mark.getIsInvalid()) return true;
    nFrameNum = mark.getFrameNum();
    bIFrame = mark.getFrameType() == kIFrame;
    // A consumer never sees given-up space right after a block it took.
    if (peekFrontMark(mark) && mark.getIsInvalid()) {
        int const skip = spanThrough(mark);
        if (skip >= 0 && m_pDataQueue->pop(skip)) {
            m_pMarkQueue->pop(MarkData::kSize);
            nBytes += skip;
        }
    }
    return true;
}

void TSFrameQueue::popAVData() {
    OV_LOCK_GUARD(popGuard, m_popMutex);
    bool bIFrame = false;
    int nFrameNum = 0;
    int nBytes = 0;
    // A block passed by an eviction has left the rings already.
    if (!m_bFrontEvicted) basePopAVData(bIFrame, nFrameNum, nBytes);
    m_bFrontOut = false;
    m_bFrontEvicted = false;
    m_nPassedSkipOffset = -1;
}

bool TSFrameQueue::frontAVData(TSAVData** out) {
    if (m_bSnapshot) return frontSanpAVData(out);
    return frontBlock(out);
}

// The same hand-out as for TS blocks, under the pop lock: a push that
// evicts old pictures must see the one handed out and pass it, or it would
// free and overwrite bytes the writer is still reading.
bool TSFrameQueue::frontSanpAVData(TSAVData** out) { return frontBlock(out); }

bool TSFrameQueue::frontBlock(TSAVData** out) {
    bool bCorrupt = false;
    {
        OV_LOCK_GUARD(popGuard, m_popMutex);
        if (m_bFrontEvicted) {
            if (out != nullptr) *out = m_outData;
            return true;
        }
        MarkData mark;
        if (!peekFrontMark(mark)) return false;
        if (mark.getIsInvalid()) return true;
        int timeLength = 0;
        if (!m_bSnapshot) {
            long long const milliseconds = (mark.getLastFrameTimeStamp() - mark.getFirstFrameTimeStamp()) / 1000;
            timeLength = static_cast<int>(milliseconds / 1000);
            if (milliseconds % 1000 > 500) ++timeLength;
        }
        int const length = recordLength(mark);
        int const through = spanThrough(mark);
        if (through < 0) {
            CommonLog::writeBugLog("error", __FILE__, __LINE__);
            std::printf("nQueryLength:%d  nDataLen:%d FrameNum:%d\n", length, m_pDataQueue->getDataSize(),
                        mark.getFrameNum());
            return false;
        }
        if (through != length) CommonLog::writeBugLog("block data out of step with its mark", __FILE__, __LINE__);
        char* data = m_pDataQueue->getAddress(mark.getOffset());
        // A TS block begins with a sync byte; a picture is taken as it is.
        if (length <= 0 || (!m_bSnapshot && static_cast<unsigned char>(data[0]) != kSyncByte)) {
            CommonLog::writeBugLog("unequal 0x47", __FILE__, __LINE__);
            bCorrupt = true;
        } else {
            m_outData->setData(data, static_cast<unsigned int>(length));
            m_outData->setDataTimeLength(timeLength);
            m_outData->setDaylightSavingTime(mark.getDaylightSavingTime());
            m_outData->setESStreamType(mark.getESStreamType());
            m_outData->setFrameType(mark.getFrameType());
            m_outData->setImageHeight(mark.getImageHeight());
            m_outData->setImageWidth(mark.getImageWidth());
            m_outData->setTimeStamp(mark.getTimeStamp());
            m_outData->setTimeZone(mark.getTimeZone());
            m_outData->setEncoderType(mark.getEncoderType());
            m_outData->setDiscontinuityIndicator(mark.getDiscontinuityIndicator());
            if (out != nullptr) *out = m_outData;
            m_bFrontOut = true;
            m_nOutOffset = mark.getOffset();
            m_nOutLength = length;
            return true;
        }
    }
    // The pop lock is let go first: push before pop is the only order.
    if (bCorrupt) clean();
    return false;
}

bool TSFrameQueue::fillRawFrame(AVData* out, bool bOnlyOne) {
    OV_LOCK_GUARD(popGuard, m_popMutex);
    if (bOnlyOne && m_pMarkQueue->getDataSize() != MarkData::kSize) return false;
    MarkData mark;
    if (!peekFrontMark(mark)) return false;
    if (mark.getIsInvalid()) return true;
    int const length = recordLength(mark);
    if (spanThrough(mark) < 0) return false;
    if (out == nullptr) return true;
    out->setData(m_pDataQueue->getAddress(mark.getOffset()), static_cast<unsigned int>(length));
    out->setDaylightSavingTime(mark.getDaylightSavingTime());
    out->setESStreamType(mark.getESStreamType());
    out->setFrameType(mark.getFrameType());
    out->setImageHeight(mark.getImageHeight());
    out->setImageWidth(mark.getImageWidth());
    out->setTimeStamp(mark.getTimeStamp());
    out->setTimeZone(mark.getTimeZone());
    out->setEncoderType(mark.getEncoderType());
    out->setDiscontinuityIndicator(mark.getDiscontinuityIndicator());
    return true;
}

bool TSFrameQueue::frontAVData(AVData* out) { return fillRawFrame(out, false); }

bool TSFrameQueue::frontLastAVData(AVData* out) { return fillRawFrame(out, true); }

void TSFrameQueue::cleanLocked() {
    m_pMarkQueue->clear();
    m_pDataQueue->clear();
    m_pCurrentMark->zero();
    m_nFrameQueueLost = 0;
    m_nIFrameLost = 0;
    m_nFrameQueueDiscard = 0;
    m_nIFrameDiscard = 0;
    m_nValidLostPFrame = 0;
    m_bWaitIFrame = true;
    m_bDiscardPFrame = true;
    m_bResetPackager = true;
    m_nLastPartitionTime = 0;
    m_nLastTSTimeStamp = 0;
    m_nBlockLength = 0;
    m_nLastVideoTime = 0;
    m_nLastWriteEnd = 0;
    m_nSourceLost = 0;
    m_nAudioLen = 0;
    m_bAfterWrap = false;
    m_bFrontOut = false;
    m_bFrontEvicted = false;
    m_nPassedSkipOffset = -1;
    m_bTimeLinePending = false;
}

void TSFrameQueue::clean() {
    OV_LOCK_GUARD(pushGuard, m_pushMutex);
    OV_LOCK_GUARD(popGuard, m_popMutex);
    cleanLocked();
}

bool TSFrameQueue::isEmpty() {
    if (m_pMarkQueue->getDataSize() >= MarkData::kSize) return false;
    if (m_nStorageMode != 0) {
        m_nStorageMode = 0;
        m_bIFrameOnly = false;
        m_pCommonLog->writeLog("reset all frame storage mode");
    }
    return true;
}

int TSFrameQueue::getMarkCount() const { return m_pMarkQueue->getDataSize() / MarkData::kSize; }

bool TSFrameQueue::getFrontMark(MarkData& mark) {
    OV_LOCK_GUARD(popGuard, m_popMutex);
    return peekFrontMark(mark);
}

// ---------------------------------------------------------------- time line

bool TSFrameQueue::updata(long long nTimeStamp, int) {
    OV_LOCK_GUARD(pushGuard, m_pushMutex);
    OV_LOCK_GUARD(popGuard, m_popMutex);
    return updataTSFrameData(nTimeStamp);
}

bool TSFrameQueue::updataTSFrameData(long long nTimeStamp) {
    unsigned long long const delta = static_cast<unsigned long long>(nTimeStamp * 9 / 100);
    long long last = static_cast<long long>(delta);
    bool bFailed = false;

    // Every queued block, the one being built and held audio: given-up space
    // at the ring's end is not TS and is left out.
    auto adjust = [&](unsigned char* data, int length) {
        if (bFailed || length <= 0) return;
        if (data[0] != kSyncByte) CommonLog::writeBugLog("unequal 0x47", __FILE__, __LINE__);
        long long const result =
            MPEG_TS::MPEG_TS_Packager::adjustTimeStamp(data, static_cast<unsigned int>(length), delta);
        if (result < 0) {
            bFailed = true;
            return;
        }
        if (result > 0) last = result;
    };
    auto adjustRange = [&](int offset, int length) {
        unsigned char* data = reinterpret_cast<unsigned char*>(m_pDataQueue->getAddress(offset));
        if (data == nullptr || offset + length > m_pDataQueue->getSize()) {
            bFailed = length > 0;
            return;
        }
        adjust(data, length);
    };

    // The block being written moves with the rest even after it left the rings.
    if (m_bFrontEvicted) adjustRange(m_nOutOffset, m_nOutLength);
    m_pMarkQueue->resetIterateOffset();
    for (;;) {
        int got = 0;
        char* record = m_pMarkQueue->iterate(MarkData::kSize, got);
        if (got < MarkData::kSize) break;
        MarkData const mark = MarkData::readFrom(record);
        if (mark.getIsInvalid()) continue;
        adjustRange(mark.getOffset(), mark.getFrameTotalLength());
    }
    if (m_pCurrentMark->getFrameNum() > 0)
        adjustRange(m_pCurrentMark->getOffset(), m_pCurrentMark->getFrameTotalLength());
    if (m_nAudioLen > 0) adjust(reinterpret_cast<unsigned char*>(m_pAudioBuffer), m_nAudioLen);

    if (bFailed) {
        m_pCommonLog->writeLog("adjustTimeStamp failed");
        cleanLocked();
        initAVDataPackager(0, m_nLastSequenceId + 1);
        m_nLastTSTimeStamp = 0;
        return false;
    }
    long long const base = last * 100 / 9;
    initAVDataPackager(base, m_nLastSequenceId + 1);
    m_nLastTSTimeStamp = base;
    m_bTimeLinePending = m_nLastVideoTime != 0;
    return true;
}

// ---------------------------------------------------------------- control

void TSFrameQueue::setDeviceInfo(char const* device, int camera) {
    m_strDeviceId = device != nullptr ? device : "NULL";
    m_nCameraId = camera;
    char key[128];
    std::snprintf(key, sizeof(key), "%s__%d", m_strDeviceId.c_str(), camera);
    m_strDeviceKey = key;
    m_pCommonLog->initLog("FrameQueueError", 0, m_strDeviceId.c_str(), camera, 307200, 3);
}

void TSFrameQueue::setPreRecordFlag(bool flag) { m_bPreRecordFlag = flag; }

void TSFrameQueue::setPreRecordTime(int seconds) { m_nPreRecordTime = static_cast<long long>(seconds) * kSecond; }

void TSFrameQueue::setIFrameTimeStampInterval(int seconds) {
    m_nIFrameInterval = static_cast<long long>(seconds) * kSecond;
}

void TSFrameQueue::setCommonFileFlag(bool flag) { m_bCommonFile = flag; }

void TSFrameQueue::setSnapshot(bool flag) { m_bSnapshot = flag; }

bool TSFrameQueue::isPreRecording() const { return m_bPreRecordFlag; }

double TSFrameQueue::getUsePercent() const { return m_pDataQueue->getUsePercent(); }
