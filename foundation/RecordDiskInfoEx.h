#ifndef FOUNDATION_RECORDDISKINFOEX_H
#define FOUNDATION_RECORDDISKINFOEX_H

#include <string>

#include "foundation/Field.h"

// One physical disk of a group and the writers that hold it.
class RecordDiskInfoEx {
    OV_STRING_FIELD(DiskName)
    OV_FIELD(int, UseableFileNumber, 0)
    OV_FIELD(bool, WriteableFlag, false)

public:
    static constexpr int kDefaultReferenceLimit = 16;

    // Takes the reference limit from the storage parameters.
    void initDiskInfo();

    void increaseReference() { ++m_nReferenceCount; }
    void decreaseReference() {
        if (m_nReferenceCount > 0) --m_nReferenceCount;
    }
    int getReferenceCount() const { return m_nReferenceCount; }
    int getReferenceLimit() const { return m_nReferenceLimit; }
    void setReferenceLimit(int limit) { m_nReferenceLimit = limit; }

    bool isOverAccessLimit() const { return m_nReferenceCount >= m_nReferenceLimit; }
    bool hasFreeSpace() const { return m_UseableFileNumber != 0; }
    bool isSameDisk(std::string const& diskName) const { return m_DiskName == diskName; }

private:
    int m_nReferenceCount = 0;
    int m_nReferenceLimit = kDefaultReferenceLimit;
};

#endif
