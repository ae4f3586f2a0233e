#include "tracking/RecordSegmentInfoManager.h"

#include <algorithm>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/function.h"
#include "host/GThread.h"
#include "host/LocalPath.h"
#include "host/Logger.h"
#include "host/OVTime.h"
#include "host/StringParser.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordTimeRun.h"
#include "tracking/RecordSegmentInfoElement.h"
#include "tracking/RecordingMarkManager.h"

namespace NS_RecordSegmentInfoManager {

constexpr double kDetectInterval = 900;  // s between looks for new devices and dates
constexpr double kRereadDelay = 600;     // s before a disk that alarmed is read again
constexpr int kDiskAlarm = 4;
constexpr int kPalpitationMs = 1800;
constexpr size_t kMaxRereads = 4096;
constexpr unsigned int kLogLimit = 51200;
constexpr unsigned int kLogFiles = 2;

// 1 for a disk lost, 2 for read and write errors, -1 for what the table
// does not care about.
int getDiskError(int minorType) {
    if (minorType == 1) return 1;
    if (minorType == 2 || minorType == 3 || minorType == 5) return 2;
    return -1;
}

}  // namespace NS_RecordSegmentInfoManager

using namespace NS_RecordSegmentInfoManager;

RecordSegmentInfoManager::RecordSegmentInfoManager()
    : m_pRoot(new RecordSegmentInfoNode(RecordSegmentInfoNode::kRoot, "")),
      m_pThread(new GThread(bind_funcobj0(this, &RecordSegmentInfoManager::handleRecordSegmentInfo),
                            "RecordSegmentInfoManagerThread")) {
    m_pThread->setPalpitationTime(kPalpitationMs);
    // Made first, so destroyed after this one: the thread asks it for marks.
    RecordingMarkManager::getInstance();
}

RecordSegmentInfoManager::~RecordSegmentInfoManager() { stopService(); }

bool RecordSegmentInfoManager::startService() { return m_pThread->start(); }

void RecordSegmentInfoManager::stopService() { m_pThread->stop(); }

void RecordSegmentInfoManager::writeLog(std::string const& text) {
    Logger::writeFileLog("recordsegment.log", "SegmentInfoManager", text.c_str(), kLogLimit, kLogFiles);
}

int RecordSegmentInfoManager::query(std::string const& deviceKey, std::string const& date,
                                    RecordDirInfoEx const& dir, int storageType,
                                    SingleDeviceRecordQuery& out) {
    // A recorded date grows by the second: the index answers it.
    if (RecordingMarkManager::getInstance()->isExistMark(deviceKey, date)) return 0;
    OV_LOCK_GUARD(guard, m_treeMutex);
    RecordSegmentInfoNode* device = m_pRoot->isChildNodeExist(RecordSegmentInfoNode::kDevice, deviceKey);
    RecordSegmentInfoNode* day =
        device == nullptr ? nullptr : device->isChildNodeExist(RecordSegmentInfoNode::kDate, date);
    if (day == nullptr) return 0;
    for (RecordSegmentInfoNode* node = day->getFirstChild(); node != nullptr; node = node->getNext()) {
        auto* element = static_cast<RecordSegmentInfoElement*>(node);
        if (!element->isEqual(RecordSegmentInfoNode::kElement, storageType, dir)) continue;
        RecordTimeRun::handle(element->getRecordTimeRuns(), &out);
        return 1;
    }
    return 0;
}

void RecordSegmentInfoManager::dropLocked(std::string const& deviceDir, std::string const& date,
                                          std::string const& root) {
    if (m_strReading == dateKey(deviceDir, date)) m_bReadOvertaken = true;
    RecordSegmentInfoNode* device = m_pRoot->isChildNodeExist(RecordSegmentInfoNode::kDevice, deviceDir);
    RecordSegmentInfoNode* day =
        device == nullptr ? nullptr : device->isChildNodeExist(RecordSegmentInfoNode::kDate, date);
    if (day == nullptr) return;
    for (RecordSegmentInfoNode* node = day->getFirstChild(); node != nullptr;) {
        RecordSegmentInfoNode* next = node->getNext();
        if (root.empty() || node->getValue() == root) day->clear(node);
        node = next;
    }
    if (!day->hasChildNode()) device->clear(day);
    if (!device->hasChildNode()) m_pRoot->clear(device);
}

void RecordSegmentInfoManager::dropDirectoryLocked(std::string const& root) {
    if (!m_strReading.empty()) m_bReadOvertaken = true;
    for (RecordSegmentInfoNode* device = m_pRoot->getFirstChild(); device != nullptr;) {
        RecordSegmentInfoNode* nextDevice = device->getNext();
        for (RecordSegmentInfoNode* day = device->getFirstChild(); day != nullptr;) {
            RecordSegmentInfoNode* nextDay = day->getNext();
            if (RecordSegmentInfoNode* element = day->isChildNodeExist(RecordSegmentInfoNode::kElement, root))
                day->clear(element);
            if (!day->hasChildNode()) device->clear(day);
            day = nextDay;
        }
        if (!device->hasChildNode()) m_pRoot->clear(device);
        device = nextDevice;
    }
}

void RecordSegmentInfoManager::updateDeviceRecordTime(SafePointer<RecordFileInfo> const& file) {
    if (file.isNull()) return;
    // The file's writer sets the recording mark, which takes the date out
    // of the table: only the channel's latest begin is noted here.
    OV_LOCK_GUARD(guard, m_queueMutex);
    m_latestBegin[file->getDeviceDirName()] = std::make_pair(file->getRecordDate(), file->getRecordBeginTime());
}

void RecordSegmentInfoManager::updateDeviceRecordTime(std::vector<SafePointer<RecordFileInfo>> const& files) {
    for (SafePointer<RecordFileInfo> const& file : files) updateDeviceRecordTime(file);
}

void RecordSegmentInfoManager::deleteDeviceDateInfo(SafePointer<RecordFileInfo> const& file) {
    if (file.isNull()) return;
    deleteDeviceDateInfo(file->getDeviceDirName(), file->getRecordDate(), file->getRecordDirInfoEx());
}

void RecordSegmentInfoManager::deleteDeviceDateInfo(std::string const& deviceDir, std::string const& date) {
    deleteDeviceDateInfo(deviceDir, date, RecordDirInfoEx());
}

void RecordSegmentInfoManager::deleteDeviceDateInfo(std::string const& deviceDir, std::string const& date,
                                                    RecordDirInfoEx const& dir) {
    OV_LOCK_GUARD(tree, m_treeMutex);
    dropLocked(deviceDir, date, dir.getRecordRootDir());
    OV_LOCK_GUARD(queue, m_queueMutex);
    // Bounded whether the thread runs or not: past the bound, the next
    // round's look for what the table lacks reads them all the same.
    if (m_rereads.size() >= kMaxRereads) {
        m_rereads.clear();
        m_bDetectSoon = true;
    }
    m_rereads.insert(Pending{deviceDir, date, dir.getRecordRootDir()});
}

int RecordSegmentInfoManager::handleAlarm(AlarmInfoEx& alarm) {
    OV_LOCK_GUARD(guard, m_queueMutex);
    if (m_alarms.size() < kMaxRereads) m_alarms.push_back(alarm);
    return 0;
}

void RecordSegmentInfoManager::setRecordDirList(std::vector<RecordDirInfoEx> const& list) {
    OV_LOCK_GUARD(guard, m_queueMutex);
    m_pendingDirs = list;
    m_bDirListPending = true;
}

bool RecordSegmentInfoManager::getDeviceRecordTime(std::string const& deviceDir, std::string const& date,
                                                   long long& beginTime) {
    OV_LOCK_GUARD(guard, m_queueMutex);
    auto found = m_latestBegin.find(deviceDir);
    if (found == m_latestBegin.end() || found->second.first != date) return false;
    beginTime = found->second.second;
    return true;
}

bool RecordSegmentInfoManager::readDate(RecordDirInfoEx const& dir, std::string const& deviceDir,
                                        std::string const& date) {
    if (RecordingMarkManager::getInstance()->isExistMark(deviceDir, date)) return false;
    {
        OV_LOCK_GUARD(guard, m_treeMutex);
        m_strReading = dateKey(deviceDir, date);
        m_bReadOvertaken = false;
    }
    std::vector<RecordTimeRun> runs;
    RecordIndexFileParserEx index;
    bool const opened = index.open(dir, date, deviceDir, kMainIndex, 0) == 1;
    if (opened) index.getRecordTimeRuns(runs);
    index.close();

    OV_LOCK_GUARD(guard, m_treeMutex);
    m_strReading.clear();
    // Changed while it was read: the change's own re-read will do it.
    if (m_bReadOvertaken || !opened) return true;
    RecordSegmentInfoNode* device = m_pRoot->isChildNodeExist(RecordSegmentInfoNode::kDevice, deviceDir);
    if (device == nullptr) {
        device = new RecordSegmentInfoNode(RecordSegmentInfoNode::kDevice, deviceDir);
        m_pRoot->insertChildNode(device);
    }
    RecordSegmentInfoNode* day = device->isChildNodeExist(RecordSegmentInfoNode::kDate, date);
    if (day == nullptr) {
        day = new RecordSegmentInfoNode(RecordSegmentInfoNode::kDate, date);
        device->insertChildNode(day);
    }
    std::unique_ptr<RecordSegmentInfoNode> element(new RecordSegmentInfoElement(dir, kMainIndex, std::move(runs)));
    // An element of this directory already there is as fresh: nothing
    // changed the date since it was read either.
    if (day->insertChildNode(element.get()) == 1) {
        element.release();
        writeLog("RecordSegmentInfoManager::insertDeviceRecordSegmentList, success,(" + deviceDir + "," + date +
                 "," + dir.getRecordRootDir() + ")");
    }
    return true;
}

bool RecordSegmentInfoManager::isInService(DirState const& state, double now) const {
    if (state.dUpdateTime == 0) return true;
    double const since = now - state.dUpdateTime;
    return since >= kRereadDelay || since < -kRereadDelay;
}

void RecordSegmentInfoManager::detectRecordDeviceInfo() {
    double const now = OVTime::getSeconds();
    for (DirState& state : m_dirs) {
        if (!isInService(state, now)) continue;
        state.dUpdateTime = 0;
        std::vector<std::string> deviceDirs;
        BasicTool::getMatchDeviceDirList(state.dir, BasicTool::kRecordDirName, "", "", -1, deviceDirs);
        for (std::string const& deviceDir : deviceDirs) {
            std::vector<std::string> dates;
            BasicTool::getRecordDateList(state.dir, BasicTool::kRecordDirName, deviceDir, dates);
            for (std::string const& date : dates) {
                bool held = false;
                {
                    OV_LOCK_GUARD(guard, m_treeMutex);
                    RecordSegmentInfoNode* device =
                        m_pRoot->isChildNodeExist(RecordSegmentInfoNode::kDevice, deviceDir);
                    RecordSegmentInfoNode* day =
                        device == nullptr ? nullptr : device->isChildNodeExist(RecordSegmentInfoNode::kDate, date);
                    held = day != nullptr &&
                           day->isChildNodeExist(RecordSegmentInfoNode::kElement, state.dir.getRecordRootDir());
                }
                if (!held && !readDate(state.dir, deviceDir, date))
                    m_waiting.insert(Pending{deviceDir, date, state.dir.getRecordRootDir()});
            }
        }
    }
}

void RecordSegmentInfoManager::handleDiskAlarm(std::vector<AlarmInfoEx> const& alarms) {
    double const now = OVTime::getSeconds();
    for (AlarmInfoEx const& alarm : alarms) {
        if (alarm.getMajorType() != kDiskAlarm || getDiskError(alarm.getMinorType()) < 0) continue;
        for (DirState& state : m_dirs) {
            if (LocalPath::getDiskAlarmDescription(state.dir.getRecordRootDir()) != alarm.getDescription())
                continue;
            state.dUpdateTime = now;
            OV_LOCK_GUARD(guard, m_treeMutex);
            dropDirectoryLocked(state.dir.getRecordRootDir());
        }
    }
}

int RecordSegmentInfoManager::handleRecordSegmentInfo() {
    std::vector<AlarmInfoEx> alarms;
    std::set<Pending> rereads;
    std::vector<std::string> goneRoots;
    bool dirsChanged = false;
    {
        OV_LOCK_GUARD(guard, m_queueMutex);
        alarms.swap(m_alarms);
        rereads.swap(m_rereads);
        dirsChanged = m_bDetectSoon;
        m_bDetectSoon = false;
        if (m_bDirListPending) {
            dirsChanged = true;
            m_bDirListPending = false;
            std::vector<DirState> dirs;
            for (RecordDirInfoEx const& dir : m_pendingDirs) {
                auto kept = std::find_if(m_dirs.begin(), m_dirs.end(),
                                         [&](DirState const& state) { return state.dir == dir; });
                dirs.push_back(kept == m_dirs.end() ? DirState{dir, 0} : *kept);
            }
            m_dirs.swap(dirs);
            for (DirState const& gone : dirs) {
                if (std::none_of(m_dirs.begin(), m_dirs.end(),
                                 [&](DirState const& state) { return state.dir == gone.dir; }))
                    goneRoots.push_back(gone.dir.getRecordRootDir());
            }
        }
    }
    // The tree comes before the queue in the lock order: dropped out here.
    for (std::string const& root : goneRoots) {
        OV_LOCK_GUARD(tree, m_treeMutex);
        dropDirectoryLocked(root);
    }
    handleDiskAlarm(alarms);

    double const now = OVTime::getSeconds();
    if (dirsChanged || m_dLastDetectTime < 0 || now - m_dLastDetectTime > kDetectInterval ||
        now < m_dLastDetectTime) {
        m_dLastDetectTime = now;
        detectRecordDeviceInfo();
    }
    // Dates changed since, and dates whose recording has ended.
    rereads.insert(m_waiting.begin(), m_waiting.end());
    m_waiting.clear();
    for (Pending const& date : rereads) {
        for (DirState const& state : m_dirs) {
            if (!date.strRoot.empty() && date.strRoot != state.dir.getRecordRootDir()) continue;
            if (!isInService(state, now)) continue;
            if (!readDate(state.dir, date.strDeviceDir, date.strDate))
                m_waiting.insert(Pending{date.strDeviceDir, date.strDate, state.dir.getRecordRootDir()});
        }
    }
    return 1;
}

void RecordSegmentInfoManager::clear() {
    {
        OV_LOCK_GUARD(guard, m_treeMutex);
        m_pRoot->clear();
    }
    OV_LOCK_GUARD(guard, m_queueMutex);
    m_bDirListPending = false;
    m_bDetectSoon = false;
    m_pendingDirs.clear();
    m_rereads.clear();
    m_alarms.clear();
    m_latestBegin.clear();
    m_dirs.clear();
    m_waiting.clear();
    m_dLastDetectTime = -1;
}
