#include "retrieval/RecordRetrieverImpl.h"

#include <cstdio>
#include <map>

#include "directory/HDRecordDirOperatorWithIndex.h"
#include "foundation/BasicTool.h"
#include "foundation/DeviceDirParser.h"
#include "foundation/OVMutexManager.h"
#include "foundation/ReturnCode.h"
#include "host/Logger.h"
#include "tracking/RecordSegmentInfoManager.h"

std::vector<RecordDirInfoEx> RecordRetrieverImpl::m_RecordDirInfoExList;
OVMutex RecordRetrieverImpl::m_DirInfoMutex;

void RecordRetrieverImpl::setRecordDirList(std::vector<RecordDirInfoEx> const& list) {
    std::vector<RecordDirInfoEx> enabled;
    for (RecordDirInfoEx const& dir : list) {
        if (dir.getEnableFlag()) enabled.push_back(dir);
    }
    RecordSegmentInfoManager::getInstance()->setRecordDirList(enabled);
    OV_LOCK_GUARD(guard, m_DirInfoMutex);
    m_RecordDirInfoExList.swap(enabled);
}

int RecordRetrieverImpl::getRecordDirList(std::vector<RecordDirInfoEx>& list) {
    {
        OV_LOCK_GUARD(guard, m_DirInfoMutex);
        list = m_RecordDirInfoExList;
    }
    if (list.empty()) {
        std::printf("RecordRetrieverImpl::query no set root dir \n");
        return OV_RECORD_NO_DIR;
    }
    return RecordDirInfoEx::keepPresentDirs(list) ? 0 : OV_RECORD_DISK_NOT_FORMATTED;
}

void RecordRetrieverImpl::getMatchDeviceList(std::vector<RecordDirInfoEx> const& dirs,
                                             std::string const& deviceId,
                                             std::string const& deviceIP, int cameraId,
                                             std::set<std::string>& deviceDirs) {
    for (RecordDirInfoEx const& dir : dirs) {
        std::map<std::string, int> found;
        HDRecordDirOperatorWithIndex(dir).queryDeviceList(found);
        for (auto const& name : found) {
            DeviceDirParser parser(name.first.c_str());
            if (BasicTool::isMatchDevice(parser, deviceId, deviceIP, cameraId))
                deviceDirs.insert(name.first);
        }
    }
}

bool RecordRetrieverImpl::isDeviceKeyValid(std::string const& deviceId,
                                           std::string const& deviceIP) {
    for (std::string const& part : {deviceId, deviceIP}) {
        if (part.find_first_of(std::string("_/\0", 3)) != std::string::npos) return false;
        if (part.find("..") != std::string::npos) return false;
    }
    return true;
}

void RecordRetrieverImpl::writeQueryLog(char const* text) {
    Logger::writeFileLog("recordquery.log", "RecordRetirever", text, 512 * 1024, 2);
}
