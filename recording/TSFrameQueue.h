#ifndef RECORDING_TSFRAMEQUEUE_H
#define RECORDING_TSFRAMEQUEUE_H

#include <string>

#include "foundation/AVData.h"
#include "foundation/FrameQueueSizeManager.h"
#include "foundation/SafePointer.h"
#include "foundation/TSAVData.h"
#include "host/OVMutex.h"
#include "recording/IAVDataPackager.h"
#include "recording/MarkData.h"

class CircleQueue;
class CommonLog;
class TimeStampCalculator;

// A channel's frame queue between the frame source and the disk.
//
// The producer (the host's receiving thread) pushes raw frames; each is
// packed into TS packets at once, straight into one large ring, and grouped
// into blocks that begin where a record file may begin. The consumer (the
// host's recording thread) takes the oldest block with frontAVData, hands it
// to RecordStorage::write and removes it with popAVData. A block handed out
// is a pointer into the ring, valid and unchanged until popAVData. When the
// disk is slower than the source, frames are dropped by rule so that what is
// kept stays decodable, and only an I frame evicts the oldest groups of
// pictures behind the block handed out. The ring never wraps inside a block:
// the end of the ring is given up instead (a skip record).
//
// Every block has a 72-byte record in a ring of 500; the two rings move
// together: a frame that either ring cannot take is refused by the same rule.
//
// In snapshot mode the queue keeps JPEG pictures as they are, without TS.
//
// Locks: m_pushMutex guards pushing, updata and cleaning; m_popMutex guards
// the consumer's reads and pops and discardDataBlock. m_pushMutex may be
// held while m_popMutex is taken, never the other way round.
class TSFrameQueue {
public:
    // nSize: bytes of the data ring (FrameQueueSizeManager gives it; its
    // default of 3 MiB when not given).
    explicit TSFrameQueue(int nSize = FrameQueueSizeManager::kDefaultQueueSize);
    ~TSFrameQueue();

    TSFrameQueue(TSFrameQueue const&) = delete;
    TSFrameQueue& operator=(TSFrameQueue const&) = delete;

    // Producer. 1 for an empty frame (nothing changes); in record mode 0
    // stored, -1 dropped by rule, -2 no space, -4 audio could not be held
    // back during a ring wrap; in snapshot mode 0 stored (or nothing could be
    // freed while pre-recording), -1 not a JPEG video frame, -2 no space, -3
    // pre-record time 0: the queue was cleaned.
    int pushAVData(AVData const* frame);
    int pushAVData(AVDataEX* frame);

    // Consumer. False when there is no block. True with *out set to the one
    // block object of the queue (valid until popAVData); or true with *out
    // untouched when the front is given-up ring space: pop it and ask again.
    // A block that does not begin with 0x47 means the ring is corrupt: the
    // queue is cleaned and the answer is false.
    bool frontAVData(TSAVData** out);
    // The same into a frame of its own (the bytes are copied).
    bool frontAVData(AVData* out);
    // As frontAVData(AVData*), but only when exactly one block is queued.
    bool frontLastAVData(AVData* out);
    // Removes the front block (and given-up space right behind it).
    void popAVData();
    // Throws the oldest blocks away, up to the next block that opens with an
    // I frame; answers the bytes freed. A block handed out is not among them:
    // it leaves the rings but keeps its bytes until popAVData, and frontAVData
    // answers it again until then.
    int discardDataBlock();
    // Empties the queue and waits for an I frame again. Either thread.
    void clean();
    // True when no block can be read (the block being built does not count).
    bool isEmpty();

    // Control; any thread, usually before frames flow.
    void setDeviceInfo(char const* device, int camera);
    void setPreRecordFlag(bool flag);
    void setPreRecordTime(int seconds);
    // Longest block without an I frame, seconds.
    void setIFrameTimeStampInterval(int seconds);
    // A common file is written whatever the gaps in time.
    void setCommonFileFlag(bool flag);
    void setSnapshot(bool flag);
    bool isPreRecording() const;
    // Fill of the data ring, 0 to 1.
    double getUsePercent() const;

    // Moves PCR and PTS of every queued packet by nTimeStamp microseconds and
    // restarts the time line behind them, so that they continue a record
    // file that is being joined. The second argument is not used. False, and
    // the queue cleaned, when the queued data is not TS.
    bool updata(long long nTimeStamp, int nDirectIOoffset);

    // Counters since the last loss report.
    unsigned long long getFrameQueueLost() const { return m_nFrameQueueLost; }
    unsigned long long getIFrameLost() const { return m_nIFrameLost; }
    unsigned long long getFrameQueueDiscard() const { return m_nFrameQueueDiscard; }
    unsigned long long getIFrameDiscard() const { return m_nIFrameDiscard; }
    unsigned long long getValidLostPFrame() const { return m_nValidLostPFrame; }
    bool isWaitingIFrame() const { return m_bWaitIFrame; }
    bool isDiscardingPFrame() const { return m_bDiscardPFrame; }
    // Blocks readable now (given-up space records included).
    int getMarkCount() const;
    // The front record, a block or given-up ring space; false when none.
    bool getFrontMark(MarkData& mark);

private:
    // A frame as pushed, whichever of the two forms it came in.
    struct FrameRef {
        AVFrameFields const* pFields;
        AVData const* pData;
        AVDataEX const* pDataEx;
        unsigned int nLength;
    };

    int pushFrame(FrameRef const& frame);
    int pushRecordAVData(FrameRef const& frame);
    int pushSnapshotAVData(FrameRef const& frame);
    int dropAtBoundary(FrameRef const& frame);

    void printMessage(FrameRef const& frame);
    bool isNeedDiscard(FrameRef const& frame) const;
    bool isBeyondMaxIFramInterval(FrameRef const& frame) const;
    void increaseDropFrame(FrameRef const& frame);
    static int spaceSizeCalculator(FrameRef const& frame);
    bool tailHasEnoughSpace(int n) const;
    bool headHasEnoughSpace(int n) const;
    bool markRingIsFull() const;
    bool cacheIsFull(int n) const;
    bool isNeedPartition(FrameRef const& frame) const;
    void refreshSwitchDate(FrameRef const& frame);
    void initAVDataPackager(long long nBase, unsigned int nSequenceId);

    // Packs at `out` with the time line's stamp; answers the bytes written.
    int packFrame(FrameRef const& frame, unsigned char* out, int nLimit);
    int packageAVData(FrameRef const& frame);
    void pushNewMark();
    void disuseTail(FrameRef const& frame);
    void dropPreRecordBySize(int n);
    void addNewMarkFlag(FrameRef const& frame, int nOffset, int nTopInterval, int nLength, MarkData& mark);

    // Reads the record at the front of the mark ring in place.
    bool peekFrontMark(MarkData& mark);
    // Data ring bytes of a record: a block's packets, a picture or given-up space.
    int recordLength(MarkData const& mark) const;
    // Bytes from the data ring's read position through the end of the
    // record's span; -1 when the span is not held.
    int spanThrough(MarkData const& mark) const;
    bool passHandedOutBlock();
    bool basePopAVData(bool& bIFrame, int& nFrameNum, int& nBytes);
    bool frontSanpAVData(TSAVData** out);
    // The front block or picture handed out, marked as held.
    bool frontBlock(TSAVData** out);
    bool fillRawFrame(AVData* out, bool bOnlyOne);
    bool updataTSFrameData(long long nTimeStamp);
    // Both mutexes must be held.
    void cleanLocked();

    CircleQueue* m_pMarkQueue;  // owned; 72-byte MarkData records
    CircleQueue* m_pDataQueue;  // owned; TS packets of the blocks
    bool m_bWaitIFrame;
    unsigned long long m_nFrameQueueLost;
    unsigned long long m_nIFrameLost;
    bool m_bDiscardPFrame;
    long long m_nLastPartitionTime;
    long long m_nLastVideoTime;
    unsigned long long m_nFrameQueueDiscard;
    unsigned long long m_nIFrameDiscard;
    unsigned long long m_nValidLostPFrame;
    TimeStampCalculator* m_pTimeStampCalculator;  // owned
    SafePointer<IAVDataPackager> m_packager;
    char m_szPrivateData[32];
    long long m_nLastTSTimeStamp;  // microseconds on the PCR line
    bool m_bResetPackager;
    long long m_nIFrameInterval;
    unsigned int m_nLastSequenceId;
    bool m_bPreRecordFlag;
    long long m_nPreRecordTime;
    mutable OVMutex m_pushMutex;
    mutable OVMutex m_popMutex;
    int m_nSize;
    int m_nImageWidth;
    int m_nImageHeight;
    bool m_bDiscontinuity;
    int m_nVideoEncoderType;
    int m_nAudioEncoderType;
    int m_nLastWriteEnd;
    bool m_bCommonFile;
    bool m_bSnapshot;
    char* m_pAudioBuffer;  // owned, kAudioBufferSize bytes
    int m_nAudioLen;
    long long m_nSwitchDateTime;
    int m_nBlockLength;
    TSAVData* m_outData;  // owned; what frontAVData hands out
    unsigned int m_nPrintSequenceId;
    unsigned long long m_nSourceLost;
    double m_dLastReportTime;  // seconds
    CommonLog* m_pCommonLog;  // owned
    bool m_bAfterWrap;
    std::string m_strDeviceId;
    int m_nCameraId;
    std::string m_strDeviceKey;  // "<device>__<camera>"
    int m_nStorageMode;
    int m_nResetInterval;
    MarkData* m_pCurrentMark;  // owned; the block being built
    bool m_bIFrameOnly;
    long long m_nLastFrameTime;
    bool m_bFrontOut;  // guarded by m_popMutex: a block is handed out
    // Guarded by m_popMutex: the block handed out has left the rings; its
    // bytes lie in the skip record at m_nPassedSkipOffset until popAVData.
    bool m_bFrontEvicted;
    int m_nPassedSkipOffset;
    int m_nOutOffset;  // guarded by m_popMutex: the block handed out
    int m_nOutLength;
    // updata restarted the time line at the last queued frame: the next video
    // frame is placed its own interval after it.
    bool m_bTimeLinePending;
    AVDataEX m_packView;  // scratch of packFrame: the frame without its bytes
    AVData m_packAudio;   // scratch of packFrame: an audio frame's copy
};

#endif
