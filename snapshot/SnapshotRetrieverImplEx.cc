#include "snapshot/SnapshotRetrieverImplEx.h"

#include <algorithm>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "snapshot/SnapshotFileManagerEx.h"
#include "snapshot/SnapshotImageDataInfo.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "snapshot/SnapshotRecordDirEx.h"
#include "snapshot/SnapshotRetriever.h"

OVMutex SnapshotRetrieverImplEx::m_DirInfoMutex;
std::vector<RecordDirInfoEx> SnapshotRetrieverImplEx::m_SnapshotDirExList;

void SnapshotRetrieverImplEx::setDirLists(std::vector<RecordDirInfoEx> const& enabled,
                                          std::vector<RecordDirInfoEx> const& disabled) {
    OV_LOCK_GUARD(guard, m_DirInfoMutex);
    m_SnapshotDirExList = enabled;
    SnapshotRetriever::m_SnapshotDisableDirList = disabled;
}

int SnapshotRetrieverImplEx::initRecordDirInfoList(std::vector<RecordDirInfoEx>& dirs) {
    {
        OV_LOCK_GUARD(guard, m_DirInfoMutex);
        dirs = m_SnapshotDirExList;
        dirs.insert(dirs.end(), SnapshotRetriever::m_SnapshotDisableDirList.begin(),
                    SnapshotRetriever::m_SnapshotDisableDirList.end());
    }
    if (dirs.empty()) return OV_RECORD_NO_DIR;
    return RecordDirInfoEx::keepPresentDirs(dirs) ? 0 : OV_RECORD_DISK_NOT_FORMATTED;
}

int SnapshotRetrieverImplEx::query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list) {
    std::vector<RecordDirInfoEx> dirs;
    int const code = initRecordDirInfoList(dirs);
    if (code != 0) return code;
    return SnapshotFileManagerEx().query(condition, dirs, list);
}

int SnapshotRetrieverImplEx::open(char const* name) {
    close();
    std::vector<RecordDirInfoEx> dirs;
    int const code = initRecordDirInfoList(dirs);
    if (code != 0) return code;
    std::string deviceDir, date;
    long long time = 0;
    if (name == nullptr || !SnapshotRecordDirEx::parseImageInfo(name, deviceDir, date, time))
        return OV_RECORD_PICTURE_OPEN_FAILED;
    for (RecordDirInfoEx const& dir : dirs) {
        IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
        std::string const dateDir = BasicTool::getWholeDateDir(dir, BasicTool::kSnapshotDirName, deviceDir, date);
        if (disk == nullptr || disk->isDirExist(dateDir.c_str()) == 0) continue;
        SnapshotIndexFileParserEx parser;
        if (parser.open(dir, date, deviceDir) != 1) continue;
        SafePointer<SnapshotImageDataInfo> info(new SnapshotImageDataInfo());
        parser.getImageDataInfo(time, info);
        if (info->getImageDataLen() < 0) continue;
        std::string const path = dateDir + BasicTool::kSeparator + info->getSnapshotFileName();
        return m_reader.open(dir, path, info->getImageFilePos(), info->getImageDataLen()) ? 0
                                                                                           : OV_RECORD_PICTURE_OPEN_FAILED;
    }
    return OV_RECORD_PICTURE_OPEN_FAILED;
}

int SnapshotRetrieverImplEx::read(char* buffer, int nLength) { return m_reader.read(buffer, nLength); }

void SnapshotRetrieverImplEx::close() { m_reader.close(); }

int SnapshotRetrieverImplEx::deleteSnapshotFile(SnapshotQueryCondition const& condition) {
    std::vector<RecordDirInfoEx> dirs;
    int const code = initRecordDirInfoList(dirs);
    if (code != 0) return code;
    return SnapshotFileManagerEx().deleteSnapshotFile(condition, dirs);
}

int SnapshotRetrieverImplEx::deleteSnapshotFile(std::vector<std::string> const& names) {
    std::vector<RecordDirInfoEx> dirs;
    int const code = initRecordDirInfoList(dirs);
    if (code != 0) return code;
    return SnapshotFileManagerEx().deleteSnapshotFile(dirs, names);
}
