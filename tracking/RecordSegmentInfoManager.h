#ifndef TRACKING_RECORDSEGMENTINFOMANAGER_H
#define TRACKING_RECORDSEGMENTINFOMANAGER_H

#include <map>
#include <string>

#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"

// What the engine knows of each channel's recorded time without reading an
// index. For now it remembers the latest recording start per channel and
// date; queries still go to the index.
class RecordSegmentInfoManager : public Singlton<RecordSegmentInfoManager> {
public:
    // A channel began recording at the file's begin time.
    void updateDeviceRecordTime(SafePointer<RecordFileInfo> const& file);
    // Forgets the channel's date.
    void deleteDeviceDateInfo(SafePointer<RecordFileInfo> const& file);
    void deleteDeviceDateInfo(std::string const& deviceDir, std::string const& date);

    // Latest begin time known for the channel's date; false when none.
    bool getDeviceRecordTime(std::string const& deviceDir, std::string const& date,
                             long long& beginTime);

private:
    friend class Singlton<RecordSegmentInfoManager>;
    RecordSegmentInfoManager() = default;

    std::map<std::string, long long> m_latestBegin;  // "deviceDir/date"; guarded by m_mutex
    OVMutex m_mutex;
};

#endif
