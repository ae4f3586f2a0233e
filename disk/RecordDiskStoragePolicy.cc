#include "disk/RecordDiskStoragePolicy.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <thread>

#include "directory/HDDirWithIndex.h"
#include "disk/DeviceSequenceMapManager.h"
#include "foundation/BasicTool.h"
#include "foundation/EncoderType.h"
#include "foundation/OVMutexManager.h"
#include "foundation/SceneLogManager.h"
#include "foundation/StorageParameterManage.h"
#include "foundation/TimeConvert.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/OVTime.h"
#include "host/OrvaneTime.h"
#include "host/OVDateTime.h"
#include "host/TimeConverter.h"

namespace NS_RecordDiskStoragePolicy {
constexpr double kReadyWaitSeconds = 300.0;
constexpr int kIndexPauseMs = 10;
constexpr int kDualRecordMode = 2;
constexpr int kFewChannels = 16;
constexpr int kFewDisks = 2;

void writeLog(char const* text) { Logger::writeLog("RecordDiskStoragePolicy", text, nullptr, 0); }

void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(kIndexPauseMs)); }
}  // namespace NS_RecordDiskStoragePolicy

RecordDiskStoragePolicy::RecordDiskStoragePolicy()
    : m_pThread(new OVThread(bind_funcobj0(this, &RecordDiskStoragePolicy::cleanSpaceThreadBody),
                             "RecordDiskStoragePolicy")) {}

RecordDiskStoragePolicy::~RecordDiskStoragePolicy() { stopCleanSpaceThread(); }

std::string RecordDiskStoragePolicy::getDiskName(RecordDirInfoEx const& info) {
    std::string const& name = info.getRecordDiskName();
    std::string::size_type at = name.find('@');
    if (info.getDiskType() == DiskKind::kLocal && at != std::string::npos) return name.substr(at + 1);
    return name;
}

RecordDiskInfoEx* RecordDiskStoragePolicy::findDisk(std::string const& diskName) {
    for (RecordDiskInfoEx& disk : m_disks)
        if (disk.isSameDisk(diskName)) return &disk;
    return nullptr;
}

void RecordDiskStoragePolicy::insertRecordDisk(std::string const& diskName) {
    if (findDisk(diskName) != nullptr) return;
    RecordDiskInfoEx disk;
    disk.setDiskName(diskName);
    disk.initDiskInfo();
    m_disks.push_back(disk);
}

void RecordDiskStoragePolicy::insertRecordDir(SafePointer<IRecordDir> const& dir) {
    if (dir.isNull()) return;
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    for (RecordDirEx const& known : m_ascDirs)
        if (known.getRecordDir().get() == dir.get()) return;
    RecordDirEx entry;
    SafePointer<IRecordDir> copy = dir;
    if (entry.initRecordDir(copy)) {
        m_ascDirs.push_back(entry);
        std::stable_sort(m_ascDirs.begin(), m_ascDirs.end(), std::less<RecordDirEx>());
        m_decDirs.push_back(entry);
        std::stable_sort(m_decDirs.begin(), m_decDirs.end(), std::greater<RecordDirEx>());
    } else if (std::find(m_otherDirs.begin(), m_otherDirs.end(), dir) == m_otherDirs.end()) {
        m_otherDirs.push_back(dir);
    }
    insertRecordDisk(getDiskName(dir->getRecordDirInfoEx()));
}

void RecordDiskStoragePolicy::deleteRecordDir(SafePointer<IRecordDir> const& dir) {
    if (dir.isNull()) return;
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    auto same = [&](RecordDirEx const& entry) { return entry.getRecordDir().get() == dir.get(); };
    m_ascDirs.erase(std::remove_if(m_ascDirs.begin(), m_ascDirs.end(), same), m_ascDirs.end());
    m_decDirs.erase(std::remove_if(m_decDirs.begin(), m_decDirs.end(), same), m_decDirs.end());
    m_otherDirs.erase(std::remove(m_otherDirs.begin(), m_otherDirs.end(), dir), m_otherDirs.end());
    // The counter goes even while another partition of the disk stays: its
    // references start again with the next insert.
    std::string diskName = getDiskName(dir->getRecordDirInfoEx());
    m_disks.erase(std::remove_if(m_disks.begin(), m_disks.end(),
                                 [&](RecordDiskInfoEx const& disk) { return disk.isSameDisk(diskName); }),
                  m_disks.end());
    char text[256];
    std::snprintf(text, sizeof(text), "RecordDiskStoragePolicy::deleteRecordDisk, %s \n", diskName.c_str());
    GlobalEnv::print("%s", text);
}

void RecordDiskStoragePolicy::updateRecordDeviceDirPolicy(std::vector<RecordDeviceDirPolicy> const& policies) {
    m_policies.set(policies);
}

bool RecordDiskStoragePolicy::isInCondition(int condition, SafePointer<IRecordDir> const& dir) {
    if (m_nRecordMode != NS_RecordDiskStoragePolicy::kDualRecordMode) {
        bool dedicated = dir->getRecordDirInfoEx().getAttribute() == kDedicatedDirAttribute;
        if (dedicated != (condition == 1)) return false;
    }
    return !dir->isIOError() && dir->isWritable();
}

void RecordDiskStoragePolicy::getDirListInCondition(SafePointer<RecordFileInfo> const& file, int condition,
                                                    std::vector<SafePointer<IRecordDir>>& out) {
    int sequence = DeviceSequenceMapManager::getInstance()->getDeviceSequence(file->getDeviceId(), file->getCameraId());
    char text[256];
    std::snprintf(text, sizeof(text), "getDirListInCondition, Device(%s, %d), SequenceId=%d, DualPolicyEnable=%d",
                  file->getDeviceId().c_str(), file->getCameraId(), sequence, m_bDualPolicyEnable ? 1 : 0);
    NS_RecordDiskStoragePolicy::writeLog(text);
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    std::vector<RecordDirEx> const& ordered = m_bDualPolicyEnable && sequence == 2 ? m_decDirs : m_ascDirs;
    for (RecordDirEx const& entry : ordered)
        if (isInCondition(condition, entry.getRecordDir())) out.push_back(entry.getRecordDir());
    for (SafePointer<IRecordDir> const& dir : m_otherDirs)
        if (isInCondition(condition, dir)) out.push_back(dir);
}

bool RecordDiskStoragePolicy::isOverAccessLimit(SafePointer<IRecordDir> const& dir) {
    RecordDirInfoEx info = dir->getRecordDirInfoEx();
    if (info.getDiskType() != DiskKind::kLocal) return false;
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    RecordDiskInfoEx* disk = findDisk(getDiskName(info));
    return disk != nullptr && disk->isOverAccessLimit();
}

bool RecordDiskStoragePolicy::getFreeRecordDir(std::vector<SafePointer<IRecordDir>> const& candidates,
                                               SafePointer<IRecordDir>& dir) {
    for (SafePointer<IRecordDir> const& candidate : candidates) {
        if (!candidate->hasFreeSpace() || isOverAccessLimit(candidate)) continue;
        dir = candidate;
        return true;
    }
    // The limit is a preference: a disk at it takes more when it alone has room.
    for (SafePointer<IRecordDir> const& candidate : candidates) {
        if (!candidate->hasFreeSpace()) continue;
        dir = candidate;
        return true;
    }
    return false;
}

bool RecordDiskStoragePolicy::needWaitDiskReady() {
    if (m_bReady) return false;
    double now = OVTime::getUpTime();
    if (!m_bWaiting.exchange(true)) {
        m_dFirstWaitTime = now;
        return true;
    }
    if (now - m_dFirstWaitTime < NS_RecordDiskStoragePolicy::kReadyWaitSeconds) return true;
    m_bReady = true;
    NS_RecordDiskStoragePolicy::writeLog("begin clean earliest file");
    return false;
}

int RecordDiskStoragePolicy::getUsableDir(SafePointer<RecordFileInfo> file, int condition,
                                          SafePointer<IRecordDir>& dir) {
    decreaseRecordDiskReference(file);
    std::vector<SafePointer<IRecordDir>> candidates;
    getDirListInCondition(file, condition, candidates);
    if (candidates.empty()) {
        GlobalEnv::print("%s", "RecordDiskStoragePolicy::getUsableDir, OV_RECORD_NO_DIR_WRITE ");
        return -768;
    }
    if (StorageParameterManage::getInstance()->getKeepSceneFlag()) {
        // The channel keeps the disk it recorded on last.
        std::string used;
        if (m_pSceneLog == nullptr || !m_pSceneLog->getUseDiskName(file->getDeviceId(), file->getCameraId(), used))
            return -768;
        for (SafePointer<IRecordDir> const& candidate : candidates) {
            if (candidate->getRecordDirInfoEx().getRecordRootDir() != used) continue;
            dir = candidate;
            m_bReady = true;
            return 0;
        }
        return -768;
    }
    if (getFreeRecordDir(candidates, dir)) {
        m_bReady = true;
        file->setRecordDirInfoEx(dir->getRecordDirInfoEx());
        increateRecordDiskReference(file);
        return 0;
    }
    if (!m_policies.isCycleWrite(*file)) {
        GlobalEnv::print("%s", "RecordDirGroup::getUsableDir is not cycle write");
        return -756;
    }
    if (needWaitDiskReady()) return -761;
    if (!getUsableDirAfterClean(candidates, dir)) {
        GlobalEnv::print("%s", "RecordDirGroup::getUsableDir clean after failed ");
        return -756;
    }
    file->setRecordDirInfoEx(dir->getRecordDirInfoEx());
    increateRecordDiskReference(file);
    return 0;
}

bool RecordDiskStoragePolicy::getUsableDirAfterClean(std::vector<SafePointer<IRecordDir>> const& candidates,
                                                     SafePointer<IRecordDir>& dir) {
    if (candidates.empty()) {
        GlobalEnv::print("%s", "RecordDiskStoragePolicy::getUsableDirAfterClean 11111111111 ");
        return false;
    }
    if (cleanSpace(candidates, dir)) {
        GlobalEnv::print("%s", "RecordDiskStoragePolicy::getUsableDirAfterClean 2222222222222 ");
        return true;
    }
    if (clearEarliestFile(candidates, dir)) {
        GlobalEnv::print("%s", "RecordDiskStoragePolicy::getUsableDirAfterClean 33333333333333 ");
        return true;
    }
    return false;
}

bool RecordDiskStoragePolicy::getEarliestDateList(std::vector<SafePointer<IRecordDir>> const& dirs,
                                                  std::vector<RecordDeviceDirPolicy> const& policies,
                                                  std::set<std::string>& dates) {
    bool ok = true;
    for (SafePointer<IRecordDir> const& dir : dirs) ok = dir->getEarliestDateList(policies, dates) >= 0 && ok;
    return ok;
}

int RecordDiskStoragePolicy::getDirUseableFileNum(SafePointer<IRecordDir> const& dir) {
    int total = 0;
    int free = 0;
    return dir->getDirFileNumber(total, free) == 0 ? free : 0;
}

// The foreground: free one file for every channel, oldest dates first, each
// but the newest whole on one disk after another.
bool RecordDiskStoragePolicy::cleanSpace(std::vector<SafePointer<IRecordDir>> const& candidates,
                                         SafePointer<IRecordDir>& dir) {
    std::vector<RecordDeviceDirPolicy> policies = m_policies.copy();
    std::set<std::string> dates;
    if (!getEarliestDateList(candidates, policies, dates)) {
        GlobalEnv::print("%s", "RecordDirGroup::cleanSpace, getEarliestDateList failed ");
        return false;
    }
    if (candidates.empty()) {
        GlobalEnv::print("%s", "RecordDirGroup::cleanSpace, 0 == RecordDirList.size() ");
        return false;
    }
    int const wanted = static_cast<int>(policies.size());
    bool enough = false;
    char text[256];
    for (std::string const& date : dates) {
        if (date == *dates.rbegin()) {
            cutNewestDate(candidates, policies, date, wanted);
            break;
        }
        for (SafePointer<IRecordDir> const& candidate : candidates) {
            if (candidate->getRecordDirInfoEx().getDiskType() != DiskKind::kLocal) continue;
            candidate->deleteEarliestDateFile(policies, date, wanted);
            std::snprintf(text, sizeof(text), "RecordDirGroup::cleanSpace, deleteEarliestDateFile(%s) \n", date.c_str());
            GlobalEnv::print("%s", text);
            if (getUseableFileSum(candidates) >= wanted) {
                enough = true;
                break;
            }
        }
        if (enough) break;
    }
    return getFreeRecordDir(candidates, dir);
}

int RecordDiskStoragePolicy::getUseableFileSum(std::vector<SafePointer<IRecordDir>> const& dirs) {
    int useable = 0;
    for (SafePointer<IRecordDir> const& dir : dirs) useable += getDirUseableFileNum(dir);
    return useable;
}

// The newest date is the one being recorded: taken whole from the first disk
// it would lose that disk's newest minutes while older ones stay on the
// others. It is cut instead in slices across all local disks, each slice
// reaching just past the begin of the oldest files still missing.
bool RecordDiskStoragePolicy::cutNewestDate(std::vector<SafePointer<IRecordDir>> const& candidates,
                                            std::vector<RecordDeviceDirPolicy> const& policies,
                                            std::string const& date, int wanted) {
    std::vector<SafePointer<IRecordDir>> local;
    for (SafePointer<IRecordDir> const& candidate : candidates)
        if (candidate->getRecordDirInfoEx().getDiskType() == DiskKind::kLocal) local.push_back(candidate);
    long long lastCut = std::numeric_limits<long long>::min();
    char text[256];
    for (;;) {
        // A pool's last empty file counts as useable but is never handed
        // out: the next file needs a directory that can give one.
        int missing = wanted - getUseableFileSum(candidates);
        bool givable = std::any_of(candidates.begin(), candidates.end(),
                                   [](SafePointer<IRecordDir> const& dir) { return dir->hasFreeSpace(); });
        if (missing <= 0 && givable) return true;
        missing = std::max(missing, 1);
        std::vector<long long> begins;
        for (SafePointer<IRecordDir> const& dir : local) {
            HDDirWithIndex* indexed = dynamic_cast<HDDirWithIndex*>(dir.get());
            if (indexed != nullptr) indexed->getDeletableBeginTimes(policies, date, missing, begins);
        }
        if (begins.empty()) return false;  // only locked or growing files are left
        size_t last = std::min(begins.size(), static_cast<size_t>(missing)) - 1;
        std::nth_element(begins.begin(), begins.begin() + last, begins.end());
        long long cut = begins[last] + 1;
        // A cut that doesn't pass the last one took nothing (a bin that
        // refuses): stop rather than hold the session for ever.
        if (cut <= lastCut) return false;
        lastCut = cut;
        for (SafePointer<IRecordDir> const& dir : local) dir->deleteSpecialTimeSegmentFile(policies, date, cut);
        std::snprintf(text, sizeof(text), "RecordDirGroup::cleanSpace, deleteSpecialTimeSegmentFile(%s, %lld) \n",
                      date.c_str(), cut);
        GlobalEnv::print("%s", text);
    }
}

// The last resort of network-attached directories.
bool RecordDiskStoragePolicy::clearEarliestFile(std::vector<SafePointer<IRecordDir>> const& candidates,
                                                SafePointer<IRecordDir>& dir) {
    std::vector<RecordDeviceDirPolicy> policies = m_policies.copy();
    for (SafePointer<IRecordDir> const& candidate : candidates) {
        if (candidate->getRecordDirInfoEx().getDiskType() != DiskKind::kNas) continue;
        if (candidate->deleteEarliestFile(policies) != 0) continue;
        dir = candidate;
        return true;
    }
    return false;
}

void RecordDiskStoragePolicy::getRecordDirListInCondition(int condition, std::vector<SafePointer<IRecordDir>>& dirs) {
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    for (RecordDirEx const& entry : m_ascDirs)
        if (isInCondition(condition, entry.getRecordDir())) dirs.push_back(entry.getRecordDir());
    for (SafePointer<IRecordDir> const& dir : m_otherDirs)
        if (isInCondition(condition, dir)) dirs.push_back(dir);
}

int RecordDiskStoragePolicy::detectCycleWriteDeviceCount() { return static_cast<int>(m_policies.copy(true).size()); }

int RecordDiskStoragePolicy::detectRecordDirSpaceInfo(std::vector<SafePointer<IRecordDir>> const& dirs) {
    {
        OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
        for (RecordDiskInfoEx& disk : m_disks) {
            disk.setUseableFileNumber(0);
            disk.setWriteableFlag(false);
        }
    }
    int sum = 0;
    for (SafePointer<IRecordDir> const& dir : dirs) {
        int count = getDirUseableFileNum(dir);  // asked without the lock: it reads the disk
        sum += count;
        OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
        RecordDiskInfoEx* disk = findDisk(getDiskName(dir->getRecordDirInfoEx()));
        if (disk == nullptr) continue;
        disk->setUseableFileNumber(disk->getUseableFileNumber() + count);
        disk->setWriteableFlag(true);
    }
    return sum;
}

bool RecordDiskStoragePolicy::checkRecordDiskInConditon(int n) {
    using namespace NS_RecordDiskStoragePolicy;
    if (n == 0) n = 1;
    int channels = DeviceSequenceMapManager::getInstance()->getDeviceNum();
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    int writeable = 0;
    int good = 0;
    for (RecordDiskInfoEx const& disk : m_disks) {
        if (!disk.getWriteableFlag()) continue;
        ++writeable;
        if (disk.getUseableFileNumber() >= n) ++good;
    }
    int needed = channels <= kFewChannels && static_cast<int>(m_disks.size()) <= kFewDisks ? 1 : 2;
    if (!m_bDualPolicyEnable) needed = 1;
    if (writeable == 0) return false;
    if (writeable < needed) return good != 0;
    return good >= needed;
}

bool RecordDiskStoragePolicy::hasRoomEnough(std::vector<SafePointer<IRecordDir>> const& dirs, int cycleWriters) {
    return detectRecordDirSpaceInfo(dirs) >= 2 * cycleWriters && checkRecordDiskInConditon(cycleWriters / 2);
}

int RecordDiskStoragePolicy::deleteEarliestDateFile() {
    std::vector<SafePointer<IRecordDir>> dirs;
    getRecordDirListInCondition(0, dirs);
    int cycleWriters = detectCycleWriteDeviceCount();
    if (dirs.empty() || cycleWriters == 0) return 0;
    if (detectRecordDirSpaceInfo(dirs) > 2 * cycleWriters && checkRecordDiskInConditon(cycleWriters / 2)) return 0;
    return startCleanSpaceThread();
}

int RecordDiskStoragePolicy::startCleanSpaceThread() {
    if (m_pThread->isRunning()) {
        GlobalEnv::print("%s", " RecordDiskStoragePolicy::startCleanSpaceThread, IsRunning ");
        return 1;
    }
    return m_pThread->start() ? 1 : 0;
}

void RecordDiskStoragePolicy::stopCleanSpaceThread() { m_pThread->stop(); }

// One sweep, then the thread ends (a zero result ends the host's loop).
int RecordDiskStoragePolicy::cleanSpaceThreadBody() {
    GlobalEnv::print("%s", "RecordDiskStoragePolicy::cleanSpace, 111111111111111111111 ");
    std::vector<SafePointer<IRecordDir>> dirs;
    getRecordDirListInCondition(0, dirs);
    if (!dirs.empty()) cleanSpace(dirs);
    return 0;
}

int RecordDiskStoragePolicy::cleanSpace(std::vector<SafePointer<IRecordDir>> const& dirs) {
    using namespace NS_RecordDiskStoragePolicy;
    if (dirs.empty()) {
        GlobalEnv::print("%s", "RecordDirGroup::cleanSpace, 0 == RecordDirList.size() ");
        return 0;
    }
    std::vector<RecordDeviceDirPolicy> policies = m_policies.copy();
    std::set<std::string> dateSet;
    if (!getEarliestDateList(dirs, policies, dateSet) || dateSet.empty()) {
        GlobalEnv::print("%s", "RecordDirGroup::cleanSpace, 0 == RecordDirList.size() ");
        return 0;
    }
    std::vector<std::string> dates(dateSet.begin(), dateSet.end());
    if (dates.size() < 2) return cleanLastDateDirSpace(dirs, policies, dates.front());
    int disks = 0;
    {
        OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
        disks = static_cast<int>(m_disks.size());
    }
    int cycleWriters = detectCycleWriteDeviceCount();
    bool few = DeviceSequenceMapManager::getInstance()->getDeviceNum() <= kFewChannels && disks <= kFewDisks;
    char text[256];
    for (size_t i = 0; i + 1 < dates.size(); ++i) {
        std::string const& date = dates[i];
        for (SafePointer<IRecordDir> const& dir : dirs) {
            int result = dir->deleteEarliestDateIndexFile(policies, date);
            std::snprintf(text, sizeof(text), "RecordDirGroup::cleanSpace, deleteEarliestDateIndexFile(%s) \n",
                          date.c_str());
            GlobalEnv::print("%s", text);
            if (result == 1) pause();
        }
        for (SafePointer<IRecordDir> const& dir : dirs) {
            dir->deleteEarliestDateFile(policies, date, -1);
            std::snprintf(text, sizeof(text), "RecordDirGroup::cleanSpace, deleteEarliestDateFile(%s) \n", date.c_str());
            GlobalEnv::print("%s", text);
            if (!few && hasRoomEnough(dirs, cycleWriters)) return 1;
        }
        if (few && hasRoomEnough(dirs, cycleWriters)) return 1;
    }
    return cleanLastDateDirSpace(dirs, policies, dates.back());
}

// Today is cut in slices of a quarter of the day so far, stopping as soon
// as there is room.
int RecordDiskStoragePolicy::cleanLastDateDirSpace(std::vector<SafePointer<IRecordDir>> const& dirs,
                                                   std::vector<RecordDeviceDirPolicy> const& policies,
                                                   std::string const& date) {
    OVDateTime clock;
    TimeConverter::longToStruct(static_cast<unsigned long>(OrvaneTime::currentTime().getSeconds()), clock);
    long long now = clock.hour * 3600LL + clock.minute * 60LL;
    long long quarter = now >> 2;
    OVDateTime start;
    if (!BasicTool::getDateByDateString(date, start)) return 0;
    start.hour = start.minute = start.second = 0;
    long long dayStart = static_cast<long long>(TimeConvert::getLongTime(start));
    int cycleWriters = detectCycleWriteDeviceCount();
    char text[256];
    for (long long t = 2 * quarter; t - quarter <= now; t += quarter) {
        for (SafePointer<IRecordDir> const& dir : dirs) {
            dir->deleteSpecialTimeSegmentFile(policies, date, dayStart + t);
            std::snprintf(text, sizeof(text), "RecordDirGroup::cleanSpace, deleteEarliestDateIndexFile(%s) \n",
                          date.c_str());
            GlobalEnv::print("%s", text);
            NS_RecordDiskStoragePolicy::pause();
        }
        if (hasRoomEnough(dirs, cycleWriters)) return 1;
        if (quarter == 0) break;
    }
    return 0;
}

int RecordDiskStoragePolicy::deleteOutDateFile() {
    std::vector<RecordDeviceDirPolicy> const keepByDays = m_policies.copy(false);
    if (keepByDays.empty()) return 0;
    std::vector<SafePointer<IRecordDir>> dirs;
    {
        OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
        for (RecordDirEx const& entry : m_ascDirs) dirs.push_back(entry.getRecordDir());
        dirs.insert(dirs.end(), m_otherDirs.begin(), m_otherDirs.end());
    }
    for (SafePointer<IRecordDir> const& dir : dirs) dir->deleteOutDateFile(keepByDays);
    return 1;
}

void RecordDiskStoragePolicy::increateRecordDiskReference(SafePointer<RecordFileInfo> const& file) {
    RecordDirInfoEx info = file->getRecordDirInfoEx();
    std::string diskName = getDiskName(info);
    int references = -1;
    {
        OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
        RecordDiskInfoEx* disk = findDisk(diskName);
        if (disk == nullptr) return;
        disk->increaseReference();
        references = disk->getReferenceCount();
    }
    char text[512];
    std::snprintf(text, sizeof(text),
                  "increateRecordDiskReference, Device(%s, %d), DiskName(%s), RootDir(%s), Reference(%d)",
                  file->getDeviceId().c_str(), file->getCameraId(), diskName.c_str(),
                  info.getRecordRootDir().c_str(), references);
    NS_RecordDiskStoragePolicy::writeLog(text);
}

// The file's emptied name marks its reference as given back, so that a
// second call for it counts nothing.
void RecordDiskStoragePolicy::decreaseRecordDiskReference(SafePointer<RecordFileInfo> const& file) {
    std::string diskName = getDiskName(file->getRecordDirInfoEx());
    int references = -1;
    {
        OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
        if (file->getRecordFileName().empty()) return;
        file->setRecordFileName("");
        RecordDiskInfoEx* disk = findDisk(diskName);
        if (disk == nullptr) return;
        disk->decreaseReference();
        references = disk->getReferenceCount();
    }
    char text[512];
    std::snprintf(text, sizeof(text), "decreaseRecordDiskReference, DeviceID(%s), DiskName(%s), CurReference(%d)",
                  file->getDeviceId().c_str(), diskName.c_str(), references);
    NS_RecordDiskStoragePolicy::writeLog(text);
}

void RecordDiskStoragePolicy::resetDiskReference() {
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    for (RecordDiskInfoEx& disk : m_disks) {
        while (disk.getReferenceCount() > 0) disk.decreaseReference();
    }
}

int RecordDiskStoragePolicy::getDiskReference(std::string const& diskName) {
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    RecordDiskInfoEx* disk = findDisk(diskName);
    return disk == nullptr ? -1 : disk->getReferenceCount();
}
