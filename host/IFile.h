#ifndef HOST_IFILE_H
#define HOST_IFILE_H

// One open file of a record disk. Not thread-safe: one object, one user at a
// time. Offsets and lengths are 64-bit everywhere, so files over 2 GiB work on
// 32-bit targets.
//
// Open modes:
//   1  read only; the file must exist
//   2  read-write; created if missing, never truncated
//   4  read-write; created if missing, never truncated (the local-disk mode,
//      plain buffered I/O)
// A file that open creates is synced into its folder.
class IFile {
public:
    static constexpr int kModeRead = 1;
    static constexpr int kModeReadWrite = 2;
    static constexpr int kModeLocalDisk = 4;

    virtual ~IFile() = default;

    // true if opened; an open file is closed first.
    virtual bool open(char const* name, int mode) = 0;
    virtual void close() = 0;
    // Bytes read (0 at the end), negative on failure.
    virtual int read(char* buffer, int length) = 0;
    // Bytes written, which may be fewer than `length`; negative on failure.
    // May raise OVRuntimeError.
    virtual int write(char const* buffer, int length) = 0;
    // whence is SEEK_SET, SEEK_CUR or SEEK_END; true on success.
    virtual bool seek(long long offset, int whence) = 0;
    // Length in bytes, negative on failure.
    virtual long long getLength() = 0;
    // Makes what was written durable (fdatasync); true on success.
    virtual bool flush() = 0;
};

#endif
