#include "tests/support/FaultPlan.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "host/NetPath.h"

namespace {

// Arms a counted fault `n` calls after `done`.
int target(int done, int n) { return done + (n < 1 ? 1 : n); }

std::string clean(std::string const& path) { return NetPath::normalise(path); }

std::string folderOf(std::string const& path) {
    std::string cleaned = clean(path);
    size_t slash = cleaned.rfind('/');
    return slash == std::string::npos || slash == 0 ? "/" : cleaned.substr(0, slash);
}

bool take(std::map<int, bool>& faults, int call) {
    auto found = faults.find(call);
    if (found == faults.end()) return false;
    faults.erase(found);
    return true;
}

}  // namespace

void FaultPlan::failWriteAt(int n) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_writeFaults[target(m_nWriteCalls, n)] = std::make_pair(WriteFault::kFail, 0);
}

void FaultPlan::shortWriteAt(int n, int bytes) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_writeFaults[target(m_nWriteCalls, n)] = std::make_pair(WriteFault::kShort, bytes);
}

void FaultPlan::throwOnWriteAt(int n) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_writeFaults[target(m_nWriteCalls, n)] = std::make_pair(WriteFault::kThrow, 0);
}

void FaultPlan::setWriteDelay(int milliseconds) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nWriteDelayMs = milliseconds < 0 ? 0 : milliseconds;
}

void FaultPlan::hang() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bHung = true;
}

void FaultPlan::release() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bHung = false;
    }
    m_released.notify_all();
}

int FaultPlan::hungWriters() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nHungWriters;
}

void FaultPlan::setDiskFull(bool full) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bDiskFull = full;
}

void FaultPlan::setDiskFullAfter(long long bytes) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nSpaceLeft = bytes < 0 ? -1 : bytes;
}

long long FaultPlan::takeSpace(long long size) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_nSpaceLeft < 0 || size <= m_nSpaceLeft) {
        if (m_nSpaceLeft >= 0) m_nSpaceLeft -= size;
        return size;
    }
    long long fits = m_nSpaceLeft;
    m_nSpaceLeft = 0;
    m_bDiskFull = true;
    return fits;
}

void FaultPlan::setReportedSpace(long long totalMiB, long long freeMiB) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nReportedTotalMiB = totalMiB;
    m_nReportedFreeMiB = freeMiB;
}

bool FaultPlan::getReportedSpace(long long& totalMiB, long long& usedMiB) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_nReportedTotalMiB < 0) return false;
    totalMiB = m_nReportedTotalMiB;
    usedMiB = m_nReportedTotalMiB - m_nReportedFreeMiB;
    return true;
}

bool FaultPlan::isDiskFull() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bDiskFull;
}

void FaultPlan::failDiskOpAt(char const* op, int n) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_diskOpFaults[op][target(m_diskOpCalls[op], n)] = true;
}

void FaultPlan::vanish() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bVanished = true;
}

void FaultPlan::restore() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bVanished = false;
}

bool FaultPlan::isVanished() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bVanished;
}

int FaultPlan::writeCalls() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nWriteCalls;
}

int FaultPlan::flushCalls() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_diskOpCalls["flush"];
}

FaultPlan::WriteFault FaultPlan::beforeWrite(int& shortBytes) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_nWriteDelayMs > 0) {
        int delay = m_nWriteDelayMs;
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(delay));
        lock.lock();
    }
    if (m_bHung) {
        ++m_nHungWriters;
        m_released.wait(lock, [this]() { return !m_bHung; });
        --m_nHungWriters;
    }
    int call = ++m_nWriteCalls;
    if (cutsPowerHere()) return WriteFault::kFail;
    auto found = m_writeFaults.find(call);
    if (found != m_writeFaults.end()) {
        WriteFault fault = found->second.first;
        shortBytes = found->second.second;
        m_writeFaults.erase(found);
        return fault;
    }
    if (m_bVanished || m_bDiskFull) return WriteFault::kFail;
    return WriteFault::kNone;
}

bool FaultPlan::beforeOpen() {
    std::lock_guard<std::mutex> lock(m_mutex);
    int call = ++m_diskOpCalls["open"];
    if (take(m_diskOpFaults["open"], call)) return false;
    return !m_bVanished;
}

bool FaultPlan::diskOpFails(char const* op) {
    std::lock_guard<std::mutex> lock(m_mutex);
    int call = ++m_diskOpCalls[op];
    if (cutsPowerHere()) return true;
    if (take(m_diskOpFaults[op], call)) return true;
    return m_bVanished;
}

bool FaultPlan::deleteFails() {
    std::lock_guard<std::mutex> lock(m_mutex);
    int call = ++m_diskOpCalls["deleteFile"];
    return take(m_diskOpFaults["deleteFile"], call);
}

bool FaultPlan::noteOpened(std::string const& path, FileKey& key) {
    if (m_bNoUndo) return false;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return false;
    key = FileKey(static_cast<unsigned long long>(info.st_dev),
                  static_cast<unsigned long long>(info.st_ino));
    if (m_shadows.count(key) != 0) return true;
    auto file = std::make_shared<PosixFile>();
    if (!file->open(path.c_str(), IFile::kModeReadWrite)) return false;
    Shadow& shadow = m_shadows[key];
    shadow.m_pFile = file;
    shadow.m_strPath = path;
    shadow.m_nDurableLength = file->getLength();
    return true;
}

void FaultPlan::noteWrite(FileKey const& key, long long offset, int length) {
    auto found = m_shadows.find(key);
    if (found == m_shadows.end() || length <= 0) return;
    Shadow& shadow = found->second;
    long long fileLength = shadow.m_pFile->getLength();
    // Bytes past the durable length vanish by truncation; only older bytes
    // need saving.
    long long end = std::min(offset + length, std::min(fileLength, shadow.m_nDurableLength));
    if (end <= offset) return;
    std::string old(static_cast<size_t>(end - offset), '\0');
    int got = shadow.m_pFile->readAt(offset, &old[0], static_cast<int>(old.size()));
    if (got <= 0) return;
    old.resize(static_cast<size_t>(got));
    shadow.m_undo.emplace_back(offset, old);
}

void FaultPlan::noteFlushed(FileKey const& key) {
    auto found = m_shadows.find(key);
    if (found == m_shadows.end()) return;
    found->second.m_undo.clear();
    found->second.m_nDurableLength = found->second.m_pFile->getLength();
}

void FaultPlan::noteNothingDurable(FileKey const& key) {
    auto found = m_shadows.find(key);
    if (found == m_shadows.end()) return;
    found->second.m_undo.clear();
    found->second.m_nDurableLength = 0;
}

void FaultPlan::powerCut() {
    std::lock_guard<std::mutex> lock(m_shadowMutex);
    powerCutLocked();
}

void FaultPlan::spareUnsyncedBytesOf(std::string const& pathPart) {
    std::lock_guard<std::mutex> lock(m_shadowMutex);
    m_spared.push_back(pathPart);
}

void FaultPlan::powerCutAtCall(int n) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_nCutAt = target(m_nCutCalls, n);
}

bool FaultPlan::hasPowerCutFired() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bCutFired;
}

bool FaultPlan::cutsPowerHere() {
    ++m_nCutCalls;
    if (m_nCutAt != 0 && m_nCutCalls == m_nCutAt) {
        m_bCutFired = true;
        m_bVanished = true;
        std::lock_guard<std::mutex> lock(m_shadowMutex);
        powerCutLocked();
    }
    return m_bVanished;
}

void FaultPlan::noteRenamed(std::string const& from, std::string const& to) {
    if (m_bNoUndo) return;
    std::lock_guard<std::mutex> lock(m_shadowMutex);
    m_entries.push_back(Entry{clean(to), clean(from)});
}

void FaultPlan::noteFolderSynced(std::string const& folder) {
    std::lock_guard<std::mutex> lock(m_shadowMutex);
    std::string synced = clean(folder);
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [&](Entry const& entry) { return folderOf(entry.strPath) == synced; }),
                    m_entries.end());
}

void FaultPlan::powerCutLocked() {
    for (auto& entry : m_shadows) {
        Shadow& shadow = entry.second;
        bool spared = std::any_of(m_spared.begin(), m_spared.end(), [&](std::string const& part) {
            return shadow.m_strPath.find(part) != std::string::npos;
        });
        if (!spared) {
            for (auto undo = shadow.m_undo.rbegin(); undo != shadow.m_undo.rend(); ++undo) {
                shadow.m_pFile->seek(undo->first, SEEK_SET);
                shadow.m_pFile->write(undo->second.data(), static_cast<int>(undo->second.size()));
            }
            shadow.m_pFile->truncate(shadow.m_nDurableLength);
        }
        shadow.m_undo.clear();
        shadow.m_pFile->flush();
        shadow.m_nDurableLength = shadow.m_pFile->getLength();
    }
    for (auto entry = m_entries.rbegin(); entry != m_entries.rend(); ++entry)
        std::rename(entry->strPath.c_str(), entry->strFrom.c_str());
    m_entries.clear();
}
