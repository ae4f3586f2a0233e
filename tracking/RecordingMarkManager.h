#ifndef TRACKING_RECORDINGMARKMANAGER_H
#define TRACKING_RECORDINGMARKMANAGER_H

#include <map>
#include <string>

#include "foundation/Singlton.h"
#include "host/OVMutex.h"

// Which device dir is being recorded right now, and into which date dir.
// Readers and cleaners ask it to tell a growing file from a finished one.
// Memory only: nothing is stored, so after a restart there are no marks.
// One mark per device dir; two writers of one device dir on two disks share
// it, and the first delMark clears it for both.
//
// Process-wide; every operation may be called from any thread and holds
// m_mutex throughout. Strings are copied in and out.
class RecordingMarkManager : public Singlton<RecordingMarkManager> {
public:
    // Sets the mark of deviceDir to date, replacing any other date.
    void addMark(std::string const& deviceDir, std::string const& date);
    // Removes the mark of deviceDir; no mark is no error.
    void delMark(std::string const& deviceDir);
    // True only when deviceDir is marked with exactly this date: a recording
    // that crossed midnight no longer counts for the day before.
    bool isExistMark(std::string const& deviceDir, std::string const& date);

private:
    friend class Singlton<RecordingMarkManager>;
    RecordingMarkManager() = default;

    std::map<std::string, std::string> m_marks;  // device dir -> date dir; guarded by m_mutex
    OVMutex m_mutex;
};

#endif
