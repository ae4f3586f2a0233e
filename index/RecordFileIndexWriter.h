#ifndef INDEX_RECORDFILEINDEXWRITER_H
#define INDEX_RECORDFILEINDEXWRITER_H

#include <memory>
#include <mutex>
#include <vector>

#include "foundation/AVStreamInfo.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"

// Turns the blocks a record writer puts into one record file into the items
// of that file's entry in the day's index (format: docs/record-index.md).
//
// Items are gathered in memory and reach the index file on writeIndex, which
// the record writer calls at each flush; close() seals the run of items
// written since open with a CRC item. What a power cut leaves is the head
// with its CRC and the items up to the last flush, without a closing CRC:
// readable, but never continued.
//
// Not thread-safe: the owning record writer serialises every call.
class RecordFileIndexWriter {
public:
    RecordFileIndexWriter();
    ~RecordFileIndexWriter();

    RecordFileIndexWriter(RecordFileIndexWriter const&) = delete;
    RecordFileIndexWriter& operator=(RecordFileIndexWriter const&) = delete;

    // Opens the index of the file's device and date behind its last entry.
    // Continuing (newEntry false) needs that entry closed by a CRC item.
    // 0, or -705.
    int open(SafePointer<RecordFileInfo> const& file, bool newEntry);
    // Writes the head and head CRC of a new entry at the open position.
    // 0, or -704 when the head could not be written.
    int writeRecordFileInfo(char const* fileName, AVStreamInfo const& info);

    // The first block after open, and every later one. Times in seconds.
    void setFirstTSIndex(long long timeStamp, int timeLength, int dataLength, int isIFrame, bool lock,
                         int alarm);
    void addTSIndex(long long timeStamp, int esStreamType, int timeLength, int dataLength, int isIFrame,
                    bool lock, int alarm);
    // The older pair: an item's time length is how far the time stamps given
    // while it was pending reach past its start.
    void setFirstIndex(long long timeStamp, int dataLength, int isIFrame, bool lock, int alarm);
    void addIndex(long long timeStamp, int esStreamType, int dataLength, int isIFrame, bool lock, int alarm);

    // Moves the encoded items into the file; with sync they are made durable.
    // 1 on success, 0 on failure or a time-out of 60 seconds.
    int writeIndex(bool sync);
    // Ends the pending item and writes what is gathered.
    int writeLastTSIndex();
    int writeLastIndex();
    // Seals the run with a CRC item and closes the file. May be opened again.
    void close();

    // What the entry held when it was opened to be continued.
    int getRecordFileLength() const { return m_nRecordFileLength; }
    int getRecordTimeLength() const { return m_nRecordTimeLength; }
    int getRecordTimeInterval() const { return m_nRecordTimeInterval; }
    int getRecordEncodeType() const { return m_nEncodeType; }

    // Data length, time length, time interval, last byte of the entry in the
    // index file, and whether it is closed by a CRC item, from the channel's
    // last-file memory; a miss fills the memory from disk once.
    static bool getRecordValidLength(SafePointer<RecordFileInfo> const& file, int& dataLength,
                                     int& timeLength, int& timeInterval, int& endPos, bool& closed);

    static constexpr int kWriteBufferSize = 10240;
    static constexpr int kWriteTimeLimitSeconds = 60;

private:
    static bool isTimeToWriteIndex(long long delta, int esStreamType, int currentIndexType,
                                   int newIsIFrame);
    void addIndex(int time, int timeLength, int dataLength);
    // Takes back the unwritten items from the group the next CRC covers.
    void dropPending();
    // Pending time length of the older pair, from the current time.
    void takeTimeLength();
    int writeCrcIndex();
    int writeHeadCrcCode(char const* head, int length);
    static void writeLog(char const* text);

    SafePointer<IFile> m_indexFile;
    // The index file's change mutex, held while the seal reads back what it
    // covers: a lock must not change those bytes in between.
    std::shared_ptr<std::recursive_mutex> m_pChangeMutex;
    int m_nRecordFileLength = 0;
    int m_nRecordTimeLength = 0;
    int m_nRecordTimeInterval = 0;
    long long m_nBeginTime = 0;
    long long m_nItemStartTime = 0;
    long long m_nCurrentTime = 0;  // latest time stamp of the older pair
    bool m_bLock = false;
    int m_nIndexType = 1;
    int m_nAlarm = 0;
    int m_nPendingTime = 0;
    int m_nPendingDataLength = 0;
    int m_nPendingTimeLength = 0;
    std::vector<unsigned char> m_writeBuffer;  // items not yet in the file
    std::vector<unsigned char> m_crcBuffer;    // items since the last CRC item
    bool m_bForceLong = false;
    bool m_bItemOpen = false;
    int m_nEncodeType = 0;
    bool m_bValid = true;  // false when the buffers could not be had
    long long m_nFilePos = 0;  // where the next bytes go in the index file
    SafePointer<RecordFileInfo> m_recordFile;
};

#endif
