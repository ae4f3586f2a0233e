#ifndef FOUNDATION_COMMONLOG_H
#define FOUNDATION_COMMONLOG_H

#include <string>

#include "host/OVLogger.h"
#include "host/OVMutex.h"

// A rotating log bound to one object (a channel's queue, a compressor...),
// in HostPaths::getLogDir() + "/<name>.log". Every line carries the object's
// tag "<device>_<camera>" and is cut at 511 characters. Logging never fails
// its caller: every error is swallowed.
//
// initLog must happen before the object is shared; after that any thread may
// write (OVLogger serialises the file, m_mutex the repeat filter).
class CommonLog {
public:
    static int const kMaxLineLength = 511;
    // key2 of writeUnRepeatInfo that is never written.
    static int const kSilentCode = -213;

    CommonLog();

    // False if name or device is null. Opens "<log dir>/<name>.log" with
    // nMaxSize bytes and nFiles files in all.
    bool initLog(char const* name, int user, char const* device, int camera, int nMaxSize,
                 int nFiles);

    // "[tag] text" under the log's name. -1 before initLog or for null text.
    int writeLog(char const* text);
    // "[tag] nRet:code text" under `name`; both must not be null (-1).
    int writeLog(char const* name, int code, char const* text);
    // "[tag] text nRet:key2 ", written only when (key1, key2) differs from the
    // pair last written, and never for key2 -213 or a null text. A pair is
    // remembered only when written: a run of one pair gives one line, while
    // alternating pairs are all written. 1 if a line was written, 0 if
    // filtered out, -1 before initLog.
    int writeUnRepeatInfo(int key1, int key2, char const* text);

    // "message (file:line)" to "<log dir>/Bug.log" under "Bug", 102400 bytes,
    // 2 files. Any thread.
    static void writeBugLog(char const* message, char const* file, int line);

    bool isInit() const { return m_bInit; }
    std::string const& getLogName() const { return m_strLogName; }
    char const* getTag() const { return m_szTag; }
    int getUser() const { return m_nUser; }
    std::string getLogFileName() { return m_logger.getFileName(); }

    static std::string getBugLogFileName();

private:
    void write(char const* key, char const* line);

    std::string m_strLogName;
    int m_nUser;
    std::string m_strDevice;
    int m_nCameraId;
    bool m_bInit;
    OVLogger m_logger;
    OVMutex m_mutex;
    // The pair last written; -213 in key2 can never be asked for, so the
    // first call always writes.
    int m_nLastKey1;  // guarded by m_mutex
    int m_nLastKey2;  // guarded by m_mutex
    char m_szTag[128];
};

#endif
