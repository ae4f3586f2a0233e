#ifndef HOST_LOGGER_H
#define HOST_LOGGER_H

// Named logs: writeLog("RecordIOError", ...) appends to
// HostPaths::getLogDir() + "/RecordIOError.log", a rotating log of
// kMaxSize bytes and kFiles files in all. The file follows the log folder if
// HostPaths' root moves. Thread-safe; failures are silent.
class Logger {
public:
    static constexpr unsigned int kMaxSize = 512 * 1024;
    static constexpr unsigned int kFiles = 2;

    // The line is "<time> <logName>: <message> (<file>:<line>)"; file may be
    // null, then the parenthesis is left out.
    static void writeLog(char const* logName, char const* message, char const* file, int line);
};

#endif
