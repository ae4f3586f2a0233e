#ifndef RECORDING_RECORDSPEEDCALCULATOR_H
#define RECORDING_RECORDSPEEDCALCULATOR_H

#include <string>

#include "host/OVMutex.h"

// A directory's write speed, measured over periods of ten minutes. Sessions
// of every channel on the directory add to it.
class RecordSpeedCalculator {
public:
    explicit RecordSpeedCalculator(std::string const& dirName);

    void addDataLen(int nLength, long long);
    // Bytes per second over the last whole period; 0 before the first ends.
    long long getRecordSpeed();

    static constexpr double kPeriodSeconds = 600.0;

private:
    OVMutex m_mutex;
    double m_dPeriodStart;      // guarded by m_mutex
    double m_dPeriodBytes = 0;  // guarded by m_mutex
    long long m_nSpeed = 0;     // guarded by m_mutex
    std::string m_strDirName;
};

#endif
