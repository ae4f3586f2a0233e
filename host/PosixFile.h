#ifndef HOST_POSIXFILE_H
#define HOST_POSIXFILE_H

#include <string>

#include "host/IFile.h"

// IFile over a POSIX descriptor (open/read/write/lseek/fdatasync, O_CLOEXEC,
// 64-bit offsets). Never raises. Interrupted calls are retried; read and
// write loop until the whole length is done, the end of the file is reached
// or an error occurs.
class PosixFile : public IFile {
public:
    PosixFile() = default;
    ~PosixFile() override;

    PosixFile(PosixFile const&) = delete;
    PosixFile& operator=(PosixFile const&) = delete;

    bool open(char const* name, int mode) override;
    void close() override;
    int read(char* buffer, int length) override;
    int write(char const* buffer, int length) override;
    bool seek(long long offset, int whence) override;
    long long getLength() override;
    bool flush() override;

    bool isOpen() const { return m_nFd >= 0; }
    std::string const& getName() const { return m_strName; }
    // Current offset, negative if not open.
    long long tell();
    // pread: reads at `offset` without moving the file offset; bytes read,
    // negative on failure.
    int readAt(long long offset, char* buffer, int length);
    // Sets the length (ftruncate); true on success.
    bool truncate(long long length);

private:
    int m_nFd = -1;
    std::string m_strName;
};

#endif
