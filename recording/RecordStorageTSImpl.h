#ifndef RECORDING_RECORDSTORAGETSIMPL_H
#define RECORDING_RECORDSTORAGETSIMPL_H

#include <cstdint>
#include <string>

#include "directory/IRecordDir.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/RecordInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/TSAVData.h"
#include "recording/IRecordWriter.h"

class TSFrameQueue;

// The recording session of one channel. It decides when the current record
// file ends and when the next is asked for, drives the writer, keeps the
// write-speed figures of each file and marks dates holding locked recordings.
// No lock: one thread at a time, by contract; the writer below it locks.
//
// States, as (opened, first file, writer open):
//   closed             (false, -,     false)  write answers -703
//   waiting for I      (true,  true,  false)  only a video I block opens a file
//   writing            (true,  false, true)   blocks go to the writer
//   between files      (true,  false, false)  any video block opens a file
class RecordStorageTSImpl {
public:
    RecordStorageTSImpl();
    ~RecordStorageTSImpl();

    RecordStorageTSImpl(RecordStorageTSImpl const&) = delete;
    RecordStorageTSImpl& operator=(RecordStorageTSImpl const&) = delete;

    int open(RecordInfo const& info, bool condition);
    int write(int nParam, TSAVData const* data);
    int close();
    void setLockFlag(bool lock);
    long long getDeviceTimeStamp() const { return m_nDeviceTimeStamp; }
    void setTSFrameQueue(TSFrameQueue* queue) { m_TSFrameQueue = queue; }
    bool isClosed() const { return !m_bOpened; }

    // The session's file descriptor, reused for every file.
    SafePointer<RecordFileInfo> getRecordFileInfo() const { return m_recordFileInfo; }
    int getRequestType() const { return m_nRequestType; }

private:
    bool needCreateFile(TSAVData const* data) const;
    static int getRequestType(int code);
    int createRecordFile(TSAVData const* data);
    void updateRecordTime();
    int writeData(TSAVData const* data, int nParam, bool bFlag);
    void createRecordFileLockFlag();
    void updateRecordFileLockNum();
    void baseClose();
    void closeIOErrorFile();
    // Writes a caught exception's text to the I/O error log.
    static void logIOError(char const* text, int line);

    RecordInfo m_recordInfo;  // as opened, with the device IP made file-name safe
    SafePointer<RecordFileInfo> m_recordFileInfo;
    SafePointer<IRecordWriter> m_recordWriter;
    SafePointer<IRecordDir> m_recordDir;
    int32_t m_bFirstFile = 1;
    int32_t m_nRequestType = 1;
    bool m_bWriterOpen = false;
    bool m_bOpened = false;
    TSFrameQueue* m_TSFrameQueue = nullptr;  // not owned
    int64_t m_nDeviceTimeStamp = 0;          // seconds, from the last video block
    int32_t m_nDirCondition = 0;
    bool m_bNeedLockFlag = true;
    std::string m_strLastLockFile;
    int64_t m_nWriteTime = 0;   // microseconds spent in the writer for this file
    int32_t m_nWriteBytes = 0;  // bytes the writer took for this file
    int32_t m_nMinWriteSpeed = 0;
};

#endif
