#ifndef FOUNDATION_RECORDQUERY_H
#define FOUNDATION_RECORDQUERY_H

#include <string>
#include <vector>

#include "foundation/Field.h"
#include "foundation/RecordDirInfo.h"
#include "host/TimeStruct.h"

// A record file as the host lists it.
class RecordFileEx {
    OV_STRING_FIELD(DeviceId)
    OV_STRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraId, 0)
    OV_STRING_FIELD(RecordFileName)
    OV_FIELD(unsigned long, RecordFileBeginTime, 0)

public:
    RecordDirInfo const& getRecordDirInfo() const { return m_dirInfo; }
    void setRecordDirInfo(RecordDirInfo const& info) { m_dirInfo = info; }

private:
    RecordDirInfo m_dirInfo;
};

// One stretch of recorded time, in seconds.
class RecordTimeSegment {
    OV_FIELD(unsigned long, RecordBeginTime, 0)
    OV_FIELD(unsigned long, RecordEndTime, 0)
    OV_FIELD(unsigned long, RecordDataLength, 0)
    OV_FIELD(bool, RecordLockFlag, false)
    OV_FIELD(bool, RecordAlarmFlag, false)
    OV_FIELD(int, VideoEncoderType, 255)

public:
    TimeStruct const& getBeginTimeStruct() const { return m_beginTime; }
    TimeStruct const& getEndTimeStruct() const { return m_endTime; }
    void setBeginTimeStruct(TimeStruct const& time) { m_beginTime = time; }
    void setEndTimeStruct(TimeStruct const& time) { m_endTime = time; }

private:
    TimeStruct m_beginTime;
    TimeStruct m_endTime;
};

// What the host asks of the stored recordings.
class RecordQueryCondition {
    OV_STRING_FIELD(DeviceId)
    OV_STRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraId, 0)
    OV_FIELD(unsigned long, RecordBeginTime, 0)
    OV_FIELD(unsigned long, RecordEndTime, 0)
    OV_FIELD(int, RecordQueryTimePrecision, 0)
    OV_FIELD(int, RecordSegmentInterval, 0)
    OV_FIELD(bool, LockFlag, false)
    OV_FIELD(bool, AlarmFlag, false)
};

// The segments found for one channel.
class RecordQueryResult {
    OV_STRING_FIELD(DeviceID)
    OV_STRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraID, 0)

public:
    std::vector<RecordTimeSegment>& getRecordTimeSegmentList() { return m_segments; }
    std::vector<RecordTimeSegment> const& getRecordTimeSegmentList() const { return m_segments; }
    void addRecordTimeSegment(RecordTimeSegment const& segment) { m_segments.push_back(segment); }
    // Appends the segments of the next day.
    void addNextDateSegmentList(std::vector<RecordTimeSegment> const& next) {
        m_segments.insert(m_segments.end(), next.begin(), next.end());
    }

private:
    std::vector<RecordTimeSegment> m_segments;
};

// Earliest and latest recorded time of a channel.
class RecordSummaryInfo {
    OV_STRING_FIELD(DeviceId)
    OV_STRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraId, 0)
    OV_FIELD(unsigned long, RecordBeginTime, 0)
    OV_FIELD(unsigned long, RecordEndTime, 0)

public:
    TimeStruct const& getBeginTimeStruct() const { return m_beginTime; }
    TimeStruct const& getEndTimeStruct() const { return m_endTime; }
    void setBeginTimeStruct(TimeStruct const& time) { m_beginTime = time; }
    void setEndTimeStruct(TimeStruct const& time) { m_endTime = time; }

private:
    TimeStruct m_beginTime;
    TimeStruct m_endTime;
};

#endif
