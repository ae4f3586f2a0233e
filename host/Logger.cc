#include "host/Logger.h"

#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "host/HostPaths.h"
#include "host/OVLogger.h"

namespace NS_Logger {

struct State {
    std::mutex m_mutex;
    // Keyed by full path so a moved log folder gets fresh files. Never freed:
    // logs may be written while other statics die.
    std::map<std::string, OVLogger*> m_loggers;  // guarded by m_mutex
};

State& state() {
    static State* instance = new State();
    return *instance;
}

OVLogger* loggerOf(std::string const& fileName, unsigned int maxSize, unsigned int files) {
    std::string path = HostPaths::getLogDir() + "/" + fileName;
    State& state = NS_Logger::state();
    std::lock_guard<std::mutex> lock(state.m_mutex);
    OVLogger*& slot = state.m_loggers[path];
    if (slot == nullptr) {
        slot = new OVLogger();
        slot->init(path.c_str(), maxSize, files);
    }
    return slot;
}

}  // namespace NS_Logger

void Logger::writeFileLog(char const* fileName, char const* tag, char const* message,
                          unsigned int maxSize, unsigned int files) {
    if (fileName == nullptr || *fileName == '\0' || message == nullptr) return;
    NS_Logger::loggerOf(fileName, maxSize, files)->writeLog(tag != nullptr ? tag : "", message);
}

void Logger::writeFileLog(char const* fileName, char const* tag, char const* message, unsigned int maxSize,
                          unsigned int files, char const* sourceFile, int line, unsigned int level) {
    if (fileName == nullptr || *fileName == '\0' || message == nullptr) return;
    NS_Logger::loggerOf(fileName, maxSize, files)
        ->writeLog(tag != nullptr ? tag : "", message, sourceFile, static_cast<unsigned int>(line), level);
}

void Logger::writeLog(char const* logName, char const* message, char const* file, int line) {
    if (logName == nullptr || *logName == '\0') return;
    OVLogger* logger = NS_Logger::loggerOf(std::string(logName) + ".log", kMaxSize, kFiles);
    std::string text = message != nullptr ? message : "";
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    if (file != nullptr) {
        char const* slash = std::strrchr(file, '/');
        text += std::string(" (") + (slash ? slash + 1 : file) + ":" + std::to_string(line) + ")";
    }
    logger->writeLog(logName, text.c_str());
}
