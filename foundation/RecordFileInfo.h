#ifndef FOUNDATION_RECORDFILEINFO_H
#define FOUNDATION_RECORDFILEINFO_H

#include <string>

#include "foundation/AVStreamInfo.h"
#include "foundation/Field.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordInfo.h"

// Descriptor of one record file, shared between a session, its writer and
// the directory as SafePointer<RecordFileInfo>. Times in seconds.
class RecordFileInfo {
    OV_STRING_FIELD(RecordFileName)
    OV_STRING_FIELD(RecordDate)
    OV_STRING_FIELD(DeviceId)
    OV_STRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraId, 0)
    OV_FIELD(int, RecordMode, 0)
    OV_FIELD(int, BurstMode, 0)
    OV_FIELD(long long, RecordBeginTime, 0)
    OV_FIELD(long long, RecordEndTime, 0)
    OV_FIELD(int, ActualBeginTimeOffset, 0)
    OV_FIELD(int, ActualEndTimeOffset, 0)
    OV_FIELD(int, RecordFileLength, 0)
    OV_FIELD(bool, LockFlag, false)
    OV_FIELD(bool, BackupRecordFlag, false)
    OV_FIELD(int, RecordStorageType, 0)
    OV_FIELD(int, FileNumber, -1)

public:
    AVStreamInfo const& getAVStreamInfo() const { return m_streamInfo; }
    void setAVStreamInfo(AVStreamInfo const& info) { m_streamInfo = info; }
    RecordDirInfoEx const& getRecordDirInfoEx() const { return m_dirInfo; }
    void setRecordDirInfoEx(RecordDirInfoEx const& info) { m_dirInfo = info; }

    // The file's own name from number, channel and begin time; numbered
    // whenever the file number is not negative.
    std::string createFileName() const;
    // Whole path of the file: root/record/device dir/date/record file name.
    std::string createRecordFileName() const;
    // root/record/device dir, and the date folder below it.
    std::string getDeviceDir() const;
    std::string getDateDir() const;
    // The device folder's own name.
    std::string getDeviceDirName() const;

    // Same channel, date and file.
    bool isSameRecordSegment(RecordFileInfo const& other) const;
    bool operator==(RecordFileInfo const& other) const;

    RecordInfo changeToRecordInfo() const;
    // The channel as the disk policies know it.
    RecordDeviceInfo getRecordDeviceInfo() const;

private:
    AVStreamInfo m_streamInfo;
    RecordDirInfoEx m_dirInfo;
};

#endif
