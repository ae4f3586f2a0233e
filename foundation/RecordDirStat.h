#ifndef FOUNDATION_RECORDDIRSTAT_H
#define FOUNDATION_RECORDDIRSTAT_H

#include "foundation/Field.h"
#include "foundation/RecordDirInfoEx.h"

// One row of directory statistics.
class RecordDirStat {
    OV_FIELD(double, UpdateTime, 0.0)

public:
    RecordDirInfoEx const& getRecordDirInfoEx() const { return m_dirInfo; }
    void setRecordDirInfoEx(RecordDirInfoEx const& info) { m_dirInfo = info; }

    void updateRecordDirStat(int first, int second, int third) {
        m_nCounter[0] = first;
        m_nCounter[1] = second;
        m_nCounter[2] = third;
        m_bUpdated = true;
    }
    int getCounter(int n) const { return (n >= 0 && n < 3) ? m_nCounter[n] : 0; }
    bool isRecordDirStatUpdated() const { return m_bUpdated; }
    void resetUpdateStat() { m_bUpdated = false; }

private:
    RecordDirInfoEx m_dirInfo;
    int m_nCounter[3] = {0, 0, 0};
    bool m_bUpdated = false;
};

#endif
