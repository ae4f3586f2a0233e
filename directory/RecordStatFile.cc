#include "directory/RecordStatFile.h"

#include <cstdio>
#include <memory>

#include "foundation/BasicTool.h"
#include "foundation/OVRuntimeError.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"

char const* const RecordStatFile::kTempSuffix = "_bak";

int RecordStatFile::init(int diskType, int format) {
    m_nDiskType = diskType;
    m_nFormat = format;
    return 1;
}

int RecordStatFile::persistStatData(NasDirDeviceRecordStatInfo const& info, char* buffer, int size) {
    if (buffer == nullptr || size < kDataSize) return -1;
    unsigned char* bytes = reinterpret_cast<unsigned char*>(buffer);
    BasicTool::toBytesLE(bytes, static_cast<long long>(info.getUpdateTime() + 1), 8);
    BasicTool::toBytesLE(bytes + 8, info.getSaveDays(), 2);
    BasicTool::toBytesLE(bytes + 10, info.getUseableRecordDays(), 2);
    return 0;
}

int RecordStatFile::parseStatData(char const* buffer, int size, NasDirDeviceRecordStatInfo& info) {
    if (buffer == nullptr || size < kDataSize) return -1;
    unsigned char const* bytes = reinterpret_cast<unsigned char const*>(buffer);
    info.setUpdateTime(static_cast<std::uint64_t>(BasicTool::toLongLE(bytes, 8)));
    info.setSaveDays(BasicTool::toIntLE(bytes + 8, 2));
    info.setUseableRecordDays(BasicTool::toIntLE(bytes + 10, 2));
    return 0;
}

std::string RecordStatFile::getStatFileName(std::string const& deviceId, int cameraId) {
    return deviceId + "_" + std::to_string(cameraId);
}

std::string RecordStatFile::getStatFilePath(NasDirDeviceRecordStatInfo const& info) const {
    return m_strStatPath + BasicTool::kSeparator + getStatFileName(info.getDeviceId(), info.getCameraId());
}

int RecordStatFile::updateDeviceStatInfo(NasDirDeviceRecordStatInfo const& info) {
    char data[kFileSize + 1] = {0};
    int code = persistStatData(info, data, kFileSize);
    if (code != 0) return code;
    std::string const path = getStatFilePath(info);
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_nDiskType, m_nFormat);
    if (disk == nullptr) return -1;
    if (disk->isFileExist(path.c_str()) == 0) return createStatFile(path, data, kFileSize);
    return writeFileData(path, data, kFileSize);
}

int RecordStatFile::getDeviceStatInfo(NasDirDeviceRecordStatInfo& info) {
    char data[kFileSize] = {0};
    if (readFileData(getStatFilePath(info), data, kFileSize) != 0) return -1;
    return parseStatData(data, kFileSize, info);
}

int RecordStatFile::createStatFile(std::string const& path, char* data, int size) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_nDiskType, m_nFormat);
    if (disk == nullptr) return -1;
    std::string const temp = path + kTempSuffix;
    // What a crash left under the temp name is stale; a fresh one is written.
    if (disk->createEmptyFile(temp.c_str()) == 0) return -1;
    if (writeFileData(temp, data, size) != 0) return -1;
    if (disk->renameFile(temp.c_str(), path.c_str()) == 0) return -1;
    disk->syncDir(m_strStatPath.c_str());
    return 0;
}

bool RecordStatFile::deleteStatFile(NasDirDeviceRecordStatInfo const& info) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_nDiskType, m_nFormat);
    if (disk == nullptr) return false;
    std::string const path = getStatFilePath(info);
    return disk->deleteFile(path.c_str()) || disk->isFileExist(path.c_str()) == 0;
}

int RecordStatFile::writeFileData(std::string const& path, char* data, int size) {
    SafePointer<IFile> file = FileFactory::createFile(m_nDiskType, m_nFormat);
    try {
        if (file.isNull() || !file->open(path.c_str(), IFile::kModeLocalDisk)) return -1;
        bool const done = file->seek(0, SEEK_SET) && file->write(data, size) == size && file->flush();
        file->close();
        return done ? 0 : -1;
    } catch (OVRuntimeError const&) {
        file->close();
        return -1;
    }
}

int RecordStatFile::readFileData(std::string const& path, char* data, int size) {
    SafePointer<IFile> file = FileFactory::createFile(m_nDiskType, m_nFormat);
    try {
        if (file.isNull() || !file->open(path.c_str(), IFile::kModeRead)) return -1;
        int const got = file->read(data, size);
        file->close();
        return got == size ? 0 : -1;
    } catch (OVRuntimeError const&) {
        file->close();
        return -1;
    }
}
