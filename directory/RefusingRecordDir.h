#ifndef DIRECTORY_REFUSINGRECORDDIR_H
#define DIRECTORY_REFUSINGRECORDDIR_H

#include <string>

#include "directory/IRecordDir.h"

// A directory of a kind this build cannot record into yet: it comes up not
// ready, says so once in the directory log, and refuses every file with
// OV_RECORD_DIR_NOT_WRITABLE, so that the group passes on to another disk.
class RefusingRecordDir : public NullRecordDir {
public:
    RefusingRecordDir(RecordDirInfoEx const& info, char const* kind, int groupValue, std::string const& deviceId,
                      int recordType)
        : NullRecordDir(info), m_kind(kind), m_nGroupValue(groupValue), m_strDeviceId(deviceId),
          m_nRecordType(recordType) {}

    int init() override;
    int createFile(SafePointer<RecordFileInfo>&) override;
    // Nothing was ever written here that could have failed.
    bool isIOError() override { return false; }

    char const* getKind() const { return m_kind; }
    int getGroupValue() const { return m_nGroupValue; }
    std::string const& getDeviceId() const { return m_strDeviceId; }
    int getRecordType() const { return m_nRecordType; }

private:
    char const* m_kind;
    int m_nGroupValue;
    std::string m_strDeviceId;
    int m_nRecordType;
};

#endif
