#ifndef HOST_NULLFILE_H
#define HOST_NULLFILE_H

#include "host/IFile.h"

// A file that does nothing, like /dev/null: open, seek and flush succeed,
// write swallows every byte and answers `length`, read answers 0 (at the
// end), the length is always 0. Stands where no real file exists.
class NullFile : public IFile {
public:
    NullFile() = default;

    bool open(char const* name, int mode) override;
    void close() override;
    int read(char* buffer, int length) override;
    int write(char const* buffer, int length) override;
    bool seek(long long offset, int whence) override;
    long long getLength() override;
    bool flush() override;
};

#endif
