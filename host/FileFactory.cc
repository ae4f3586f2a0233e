#include "host/FileFactory.h"

#include <mutex>

#include "host/PosixFile.h"

namespace NS_FileFactory {

struct State {
    std::mutex m_mutex;
    FileFactory::Creator m_creator;  // guarded by m_mutex; empty: real files
};

State& state() {
    static State* instance = new State();
    return *instance;
}

}  // namespace NS_FileFactory

SafePointer<IFile> FileFactory::createFile(int nDiskType, int nFormat) {
    return createFileEx(nDiskType, nFormat, 0);
}

SafePointer<IFile> FileFactory::createFileEx(int nDiskType, int nFormat, int nFlag) {
    Creator creator;
    {
        NS_FileFactory::State& state = NS_FileFactory::state();
        std::lock_guard<std::mutex> lock(state.m_mutex);
        creator = state.m_creator;
    }
    IFile* file = nullptr;
    if (creator) file = creator(nDiskType, nFormat, nFlag);
    if (file == nullptr) file = new PosixFile();
    return SafePointer<IFile>(file);
}

void FileFactory::setFileCreator(Creator creator) {
    NS_FileFactory::State& state = NS_FileFactory::state();
    std::lock_guard<std::mutex> lock(state.m_mutex);
    state.m_creator = std::move(creator);
}

void FileFactory::resetFileCreator() { setFileCreator(Creator()); }
