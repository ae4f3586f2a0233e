#ifndef HOST_FILEFACTORY_H
#define HOST_FILEFACTORY_H

#include <functional>

#include "foundation/SafePointer.h"
#include "host/IFile.h"

// Makes the IFile a disk needs. Every disk type (1 local, 2 card, 3 FTP,
// 4 network-attached) is a mounted POSIX file system here, so all get a
// PosixFile; nFormat (file system format) and nFlag (the caller's purpose,
// 1 for record files) are passed to a test creator but not used otherwise.
// The files are new, closed, and owned by the returned pointer. Any thread.
class FileFactory {
public:
    using Creator = std::function<IFile*(int nDiskType, int nFormat, int nFlag)>;

    static SafePointer<IFile> createFile(int nDiskType, int nFormat);
    static SafePointer<IFile> createFileEx(int nDiskType, int nFormat, int nFlag);

    // Test hook: every later file comes from `creator` (createFile passes
    // nFlag 0). A null result falls back to a PosixFile.
    static void setFileCreator(Creator creator);
    static void resetFileCreator();
};

#endif
