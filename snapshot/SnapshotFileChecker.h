#ifndef SNAPSHOT_SNAPSHOTFILECHECKER_H
#define SNAPSHOT_SNAPSHOTFILECHECKER_H

#include <string>

#include "foundation/RecordFileInfo.h"

// Reads a picture's name "<id>_<ip>_<camera>_<YYYYMMDDhhmmssmmm>_<type>.jpg"
// (".jpg&" when locked): exactly four "_" found from the front, the end at
// the first ".jpg". Keeps a copy of the name; not thread-safe.
class SnapshotFileChecker {
public:
    static constexpr int kBeginTimeLength = 17;

    // ".jpg" present, four "_" before it, and a begin time of 17 digits.
    bool checkFileName(char const* name);
    // Finds the four "_" and the ".jpg"; false when any is missing.
    bool split(char const* name);

    std::string getDeviceID() const;
    std::string getDeviceIP() const;
    int getCameraID() const;
    std::string getBeginTime() const;  // the 17 digits
    int getSnapshotType() const;
    // The picture's time in milliseconds (local time); -1 if the digits do
    // not make a date.
    long long getBeginTimeMs() const;
    // Channel, date folder, begin second and name of the picture.
    bool createRecordFileInfo(RecordFileInfo& file) const;

private:
    std::string piece(int nFrom, int nTo) const { return m_strName.substr(nFrom, nTo - nFrom); }

    std::string m_strName;
    int m_nNameLen = 0;
    int m_nCut[4] = {0, 0, 0, 0};  // the four "_"
    int m_nEnd = 0;                // the ".jpg"
};

#endif
