#include "tests/support/FaultInjectingFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "foundation/OVRuntimeError.h"

FaultInjectingFile::FaultInjectingFile(std::shared_ptr<FaultPlan> plan) : m_pPlan(std::move(plan)) {}

bool FaultInjectingFile::open(char const* name, int mode) {
    close();
    if (!m_pPlan->beforeOpen()) return false;
    struct stat info {};
    bool existed = name != nullptr && ::stat(name, &info) == 0;
    if (!m_file.open(name, mode)) return false;
    if (!existed) {
        // The real one syncs the new file's folder itself.
        std::string path(name);
        m_pPlan->noteFolderSynced(path.substr(0, path.find_last_of('/')));
    }
    if (mode != IFile::kModeRead) {
        auto lock = m_pPlan->lockShadows();
        m_bShadowed = m_pPlan->noteOpened(name, m_key);
    }
    return true;
}

void FaultInjectingFile::close() {
    m_file.close();
    m_bShadowed = false;
}

int FaultInjectingFile::read(char* buffer, int length) {
    if (m_pPlan->isVanished()) return -1;
    return m_file.read(buffer, length);
}

int FaultInjectingFile::write(char const* buffer, int length) {
    int shortBytes = 0;
    FaultPlan::WriteFault fault = m_pPlan->beforeWrite(shortBytes);
    if (fault == FaultPlan::WriteFault::kFail) return -1;
    if (fault == FaultPlan::WriteFault::kThrow) throw OVRuntimeError("injected write fault");
    if (!m_file.isOpen() || buffer == nullptr || length < 0) return -1;
    int count = length;
    if (fault == FaultPlan::WriteFault::kShort) count = std::max(0, std::min(shortBytes, length));
    auto lock = m_pPlan->lockShadows();
    if (m_bShadowed) m_pPlan->noteWrite(m_key, m_file.tell(), count);
    return m_file.write(buffer, count);
}

bool FaultInjectingFile::seek(long long offset, int whence) {
    if (m_pPlan->isVanished()) return false;
    return m_file.seek(offset, whence);
}

long long FaultInjectingFile::getLength() {
    if (m_pPlan->isVanished()) return -1;
    return m_file.getLength();
}

bool FaultInjectingFile::flush() {
    if (!m_pPlan->beforeFlush()) return false;
    if (!m_file.flush()) return false;
    auto lock = m_pPlan->lockShadows();
    if (m_bShadowed) m_pPlan->noteFlushed(m_key);
    return true;
}
