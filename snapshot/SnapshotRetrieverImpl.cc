#include "snapshot/SnapshotRetrieverImpl.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "foundation/BasicTool.h"
#include "foundation/DeviceDirParser.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "snapshot/SnapshotIndexFileParser.h"

namespace NS_SnapshotRetrieverImpl {
constexpr int kTimeDigits = 17;

// "YYYYMMDDhhmmssmmm_cc.jpg": the date folder and the camera.
bool parseName(char const* name, std::string& date, int& camera) {
    if (name == nullptr) return false;
    std::string const text = name;
    int year = 0, month = 0, day = 0;
    size_t const cut = text.find('_');
    if (cut != static_cast<size_t>(kTimeDigits) || text.size() < cut + 6 ||
        text.compare(text.size() - 4, 4, ".jpg") != 0 ||
        text.find_first_not_of("0123456789") != cut ||
        std::sscanf(name, "%04d%02d%02d", &year, &month, &day) != 3 ||
        std::sscanf(name + cut + 1, "%d", &camera) != 1)
        return false;
    char folder[16];
    std::snprintf(folder, sizeof folder, "%04d-%02d-%02d", year, month, day);
    date = folder;
    return true;
}
}  // namespace NS_SnapshotRetrieverImpl

int SnapshotRetrieverImpl::initRecordDirInfoList(std::vector<RecordDirInfoEx>& dirs) const {
    if (m_dirs.empty()) return OV_RECORD_NO_DIR;
    dirs = m_dirs;
    return RecordDirInfoEx::keepPresentDirs(dirs) ? 0 : OV_RECORD_DISK_NOT_FORMATTED;
}

int SnapshotRetrieverImpl::query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list) {
    std::vector<RecordDirInfoEx> dirs;
    int const code = initRecordDirInfoList(dirs);
    if (code != 0) return code;
    std::string const beginDate = BasicTool::getDateString(condition.getBeginTime() / 1000);
    std::string const endDate = BasicTool::getDateString(condition.getEndTime() / 1000);
    for (RecordDirInfoEx const& dir : dirs) {
        std::vector<std::string> deviceDirs;
        if (!BasicTool::getMatchDeviceDirList(dir, BasicTool::kSnapshotDirName, condition.getDeviceId(),
                                              condition.getDeviceIP(), condition.getCameraId(), deviceDirs)) {
            GlobalEnv::print("search failed111111111111111111111111111111111111111");
            continue;
        }
        for (std::string const& deviceDir : deviceDirs) {
            std::vector<std::string> dates;
            BasicTool::getMatchDateList(dir, BasicTool::kSnapshotDirName, deviceDir, beginDate, endDate, dates);
            for (std::string const& date : dates) {
                SnapshotIndexFileParser parser;
                if (parser.open(dir, date, deviceDir) == 1) parser.query(condition, list);
            }
        }
    }
    return 0;
}

int SnapshotRetrieverImpl::open(char const* name) {
    close();
    std::vector<RecordDirInfoEx> dirs;
    int const code = initRecordDirInfoList(dirs);
    if (code != 0) return code;
    std::string date;
    int camera = 0;
    if (!NS_SnapshotRetrieverImpl::parseName(name, date, camera)) return OV_RECORD_PICTURE_NO_DIR;
    for (RecordDirInfoEx const& dir : dirs) {
        IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
        std::vector<std::string> deviceDirs;
        BasicTool::getMatchDeviceDirList(dir, BasicTool::kSnapshotDirName, "", "", camera, deviceDirs);
        for (std::string const& deviceDir : deviceDirs) {
            std::string const path = BasicTool::createWholeFileName(2, dir.getRecordRootDir(), deviceDir, date, name);
            if (disk == nullptr || disk->isFileExist(path.c_str()) != 1) {
                SnapshotIndexFileParser parser;
                if (parser.open(dir, date, deviceDir) == 1) parser.deleteFile(name);
                continue;
            }
            return m_reader.open(dir, path, 0, -1) ? 0 : OV_RECORD_PICTURE_OPEN_FAILED;
        }
    }
    return OV_RECORD_PICTURE_NO_DIR;
}

int SnapshotRetrieverImpl::read(char* buffer, int nLength) { return m_reader.read(buffer, nLength); }

void SnapshotRetrieverImpl::close() { m_reader.close(); }
