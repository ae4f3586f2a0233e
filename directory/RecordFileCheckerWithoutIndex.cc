#include "directory/RecordFileCheckerWithoutIndex.h"

#include <cstring>

#include "foundation/BasicTool.h"
#include "foundation/TimeConvert.h"

namespace NS_RecordFileCheckerWithoutIndex {

constexpr size_t kTimeDigits = 14;

}  // namespace NS_RecordFileCheckerWithoutIndex

bool RecordFileCheckerWithoutIndex::split(char const* fileName) {
    if (fileName == nullptr) return false;
    std::string const name(fileName);
    size_t const first = name.find('_');
    if (first == std::string::npos) return false;
    size_t const second = name.find('_', first + 1);
    if (second == std::string::npos) return false;
    size_t const third = name.find('_', second + 1);
    if (third == std::string::npos) return false;
    size_t const end = name.find(BasicTool::kRecordFileExtension, third + 1);
    if (end == std::string::npos) return false;
    m_strFileName = name;
    m_nExtensionAt = end;
    m_strDeviceId = name.substr(0, first);
    m_strDeviceIP = name.substr(first + 1, second - first - 1);
    m_strCameraId = name.substr(second + 1, third - second - 1);
    m_strBeginTime = name.substr(third + 1, end - third - 1);
    return true;
}

bool RecordFileCheckerWithoutIndex::checkFileName(char const* fileName) {
    using namespace NS_RecordFileCheckerWithoutIndex;
    if (!split(fileName)) return false;
    // Reclamation deletes by name: anything behind ".ts" ("x.ts.part",
    // "x.ts&") is not a file this directory wrote.
    if (m_nExtensionAt + BasicTool::kRecordFileExtension.size() != m_strFileName.size()) return false;
    if (m_strDeviceId.empty() || m_strDeviceIP.empty()) return false;
    // Names come from hosts too: one with a folder in it would be looked
    // for, read or deleted outside the record tree.
    if (m_strFileName.find('/') != std::string::npos) return false;
    int camera = 0;
    if (!BasicTool::getNumber(m_strCameraId, camera)) return false;
    if (m_strBeginTime.size() != kTimeDigits) return false;
    unsigned long seconds = 0;
    if (!TimeConvert::strToTime(m_strBeginTime, seconds)) return false;
    m_nCameraId = camera;
    m_nBeginTime = static_cast<long long>(seconds);
    return true;
}

SafePointer<RecordFileInfo> RecordFileCheckerWithoutIndex::createRecordFileInfo(RecordDirInfoEx const& dir,
                                                                                std::string const& date) const {
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    file->setRecordDirInfoEx(dir);
    file->setRecordFileName(m_strFileName);
    file->setRecordDate(date);
    file->setDeviceId(m_strDeviceId);
    file->setDeviceIP(m_strDeviceIP);
    file->setCameraId(m_nCameraId);
    file->setRecordBeginTime(m_nBeginTime);
    file->setFileNumber(0);
    return file;
}

bool RecordFileCheckerWithoutIndex::createRecordFileName(RecordFileInfo const& file, std::string& name) {
    std::string const& id = file.getDeviceId();
    std::string const ip = BasicTool::getFileNameIP(file.getDeviceIP());
    // A piece holding "_" or "/" would be read back as another channel, or
    // write outside the date folder.
    if (id.empty() || ip.empty() || id.find_first_of("_/") != std::string::npos ||
        ip.find_first_of("_/") != std::string::npos || file.getCameraId() < 0)
        return false;
    if (file.getRecordBeginTime() <= 0) return false;
    std::string const time = TimeConvert::getStrTime(static_cast<unsigned long>(file.getRecordBeginTime()));
    if (time.size() != NS_RecordFileCheckerWithoutIndex::kTimeDigits) return false;
    name = BasicTool::getRecordFileName(-1, id, ip, file.getCameraId(),
                                        static_cast<unsigned long>(file.getRecordBeginTime()));
    return true;
}
