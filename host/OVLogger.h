#ifndef HOST_OVLOGGER_H
#define HOST_OVLOGGER_H

#include <mutex>
#include <string>

// A size-limited rotating log file. Lines look like
//   "2024-01-31 23:59:58 key: message"
//   "2024-01-31 23:59:58 [3] key: message (Source.cc:120)"
// in local time; a trailing newline of the message is dropped and one is
// always added. When a line would take the file past maxSize, the file is
// rotated first: file.(n-2) -> file.(n-1), ..., file -> file.1, keeping
// `files` files in all (3: file, file.1, file.2; 1: the file is emptied).
// The folder is created when needed. Every failure is silent: logging never
// fails its caller. Thread-safe; one object per file.
class OVLogger {
public:
    OVLogger() = default;
    ~OVLogger();

    OVLogger(OVLogger const&) = delete;
    OVLogger& operator=(OVLogger const&) = delete;

    // maxSize 0 means no limit; files 0 counts as 1. Answers whether the file
    // could be opened now; writes retry opening later either way.
    bool init(char const* file, unsigned int maxSize, unsigned int files);
    void writeLog(char const* key, char const* message);
    void writeLog(char const* key, char const* message, char const* sourceFile, unsigned int line,
                  unsigned int level);

    std::string getFileName();

private:
    void writeLine(std::string const& line);
    bool openLocked();
    void rotateLocked();

    std::mutex m_mutex;  // guards everything below
    std::string m_strFile;
    unsigned int m_nMaxSize = 0;
    unsigned int m_nFiles = 1;
    int m_nFd = -1;
    long long m_nSize = 0;
    bool m_bInit = false;
};

#endif
