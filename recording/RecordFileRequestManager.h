#ifndef RECORDING_RECORDFILEREQUESTMANAGER_H
#define RECORDING_RECORDFILEREQUESTMANAGER_H

#include <vector>

#include "foundation/RecordInfo.h"
#include "host/OVMutex.h"

// The kinds of file a session asks for; only a continue or keep request may
// join the device's last, partly filled file.
enum FileRequestType {
    FileRequestNew = 0,
    FileRequestContinue = 1,
    FileRequestWriteFailed = 2,
    FileRequestOpenFailed = 3,
    FileRequestKeep = 4,
    FileRequestTimeRollback = 5,
    FileRequestFileFull = 6,
};

struct DeviceRequestType {
    RecordDeviceInfo device;
    int nRequestType = FileRequestContinue;
};

// What kind of file each device of a directory last asked for.
class RecordFileRequestManager {
public:
    // A device seen for the first time continues its last file.
    bool isRequestNewFile(RecordDeviceInfo const& device);
    void updateDeviceRequestType(RecordDeviceInfo const& device, int nType);
    static bool isCreateNewFile(int nType);
    void clearAll();

private:
    DeviceRequestType* find(RecordDeviceInfo const& device);

    std::vector<DeviceRequestType> m_devices;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif
