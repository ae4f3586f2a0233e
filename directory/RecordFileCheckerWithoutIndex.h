#ifndef DIRECTORY_RECORDFILECHECKERWITHOUTINDEX_H
#define DIRECTORY_RECORDFILECHECKERWITHOUTINDEX_H

#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"

// Reads the name of a record file on a disk without index,
// "<id>_<ip>_<camera>_YYYYMMDDhhmmss.ts": the name is all the engine knows
// of such a file. The id ends at the first "_", the IP at the second, the
// camera at the third; the begin time runs to the first ".ts", which must
// end the name.
//
// Keeps copies of the pieces of the last name read. Not thread-safe; one
// object per scan.
class RecordFileCheckerWithoutIndex {
public:
    // Cuts the name into its pieces; false when an "_" or the ".ts" is
    // missing. The pieces are not checked.
    bool split(char const* fileName);
    // split, and then a whole camera number and a begin time of 14 digits
    // that is a real local time; false leaves the pieces undefined.
    bool checkFileName(char const* fileName);

    std::string const& getDeviceID() const { return m_strDeviceId; }
    std::string const& getDeviceIP() const { return m_strDeviceIP; }
    int getCameraID() const { return m_nCameraId; }
    long long getBeginTime() const { return m_nBeginTime; }
    std::string const& getFileName() const { return m_strFileName; }

    // The file of the last name checked, in the date folder `date` of `dir`.
    // Length 0: the name does not tell it.
    SafePointer<RecordFileInfo> createRecordFileInfo(RecordDirInfoEx const& dir, std::string const& date) const;

    // "<id>_<ip>_<camera>_<time>.ts" of a file's channel and begin time; false
    // when the begin time cannot be written or a piece would spoil the name.
    static bool createRecordFileName(RecordFileInfo const& file, std::string& name);

private:
    std::string m_strFileName;
    std::string m_strDeviceId;
    std::string m_strDeviceIP;
    std::string m_strCameraId;
    std::string m_strBeginTime;
    size_t m_nExtensionAt = 0;  // where the first ".ts" after the time begins
    int m_nCameraId = -1;
    long long m_nBeginTime = 0;
};

#endif
