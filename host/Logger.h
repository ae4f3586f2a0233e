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
    // A line "<time> <tag>: <message>" in HostPaths::getLogDir() + "/" +
    // fileName, rotating at maxSize bytes over files files. One writer per
    // file, whoever logs to it, so two rotations never race.
    static void writeFileLog(char const* fileName, char const* tag, char const* message,
                             unsigned int maxSize, unsigned int files);
    // The same with the level and the source line in the record.
    static void writeFileLog(char const* fileName, char const* tag, char const* message, unsigned int maxSize,
                             unsigned int files, char const* sourceFile, int line, unsigned int level);
};

#endif
