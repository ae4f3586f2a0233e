#ifndef DISK_RECORDDISKMANAGER_H
#define DISK_RECORDDISKMANAGER_H

#include <string>
#include <vector>

#include "disk/IRecordServiceListenerManager.h"
#include "foundation/RecordDirInfo.h"
#include "foundation/RecordInfo.h"
#include "foundation/SafePointer.h"
#include "host/OVMutex.h"

// The host's door to the disk manager, in the host's value types. Every
// operation forwards to RecordDiskManagerImpl; none lets an exception out
// (those that answer an int give -739). Any thread.
class RecordDiskManager {
public:
    static int start();
    static void stop();
    static void setRecordDevicePolicy(RecordDeviceInfo const& device, int groupId, bool cycleWrite,
                                      int recordSaveDays, bool redundancy);
    static int removeRecordDevicePolicy(RecordDeviceInfo const& device);
    static void removeAllRecordDevicePolicy(int recordMode);
    static void setRecordType(int recordType);
    static void setDeviceId(std::string const& deviceId);
    static int deleteFileListNoIndex(std::vector<std::string> const& names);
    static void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener);
    static int getDeviceGroupId(RecordDeviceInfo const& device);
    static int setChannelAbility(int channels);
    static int isOverFileLockLimit();
    static int updateFileLockThreshold(int percent);
    static void setDiskAlarmInterval(int seconds);
    // Formatting is the host's business: 0, and the disk is left alone.
    static int formatDisk(char* diskName, int format);
    // The directories in service, then those that were refused.
    static void getRecordDirInfoList(std::vector<RecordDirInfo>& dirs);
    // Entries that do not convert are kept aside, never opened, and still
    // reported. 0 for a CMS of record type 2, else 1.
    static int setRecordDirInfoList(std::vector<RecordDirInfo> const& dirs);
    // One entry per local disk ("disk" and its index): space summed over its
    // partitions, and the status of any partition that is not 1.
    static void getRecordDirInfoListEx(std::vector<RecordDirInfo>& dirs);

private:
    static std::vector<RecordDirInfo> m_InvalidDirList;  // guarded by m_InvalidDirListMutex
    static OVMutex m_InvalidDirListMutex;
};

#endif
