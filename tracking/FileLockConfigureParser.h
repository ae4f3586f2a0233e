#ifndef TRACKING_FILELOCKCONFIGUREPARSER_H
#define TRACKING_FILELOCKCONFIGUREPARSER_H

#include <string>

// The share of a directory's files that may be locked, kept in
// FileLockConfigure.xml under the code configuration folder. Takes no lock:
// the host changes it from one thread.
class FileLockConfigureParser {
public:
    // Reads the threshold; 0 when the file cannot be opened, else 1.
    int parser();
    // Stores a new threshold in percent; false when it could not be persisted.
    bool update(int percent);
    double getFileLockThreshold() const { return m_dThreshold; }

    static std::string getConfigFileName();

private:
    double m_dThreshold = 0.25;
};

#endif
