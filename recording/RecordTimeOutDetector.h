#ifndef RECORDING_RECORDTIMEOUTDETECTOR_H
#define RECORDING_RECORDTIMEOUTDETECTOR_H

#include <string>

// Turns a hanging disk into a failure: built on the stack around one block,
// asked after each write whether the block has taken too long.
class RecordTimeOutDetector {
public:
    explicit RecordTimeOutDetector(int nSeconds);

    // True once more than the limit has passed; remembers the whole seconds.
    bool isTimeOut();
    int getTimeOutInterval() const { return m_nInterval; }
    void resetBeginTime();

    // Both go to "recordError.log" under the log folder.
    void writeLog(std::string const& name, int total, int written);
    void writeLog(std::string const& name, std::string const& key, std::string const& dir, int total,
                  int written);

private:
    int secondsSinceBegin() const;

    int m_nTimeOut;
    int m_nInterval = 0;
    double m_dBeginTime;  // monotonic seconds
    std::string m_strName;
};

#endif
