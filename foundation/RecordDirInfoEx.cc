#include "foundation/RecordDirInfoEx.h"

#include "foundation/EncoderType.h"
#include "host/DiskStateManager.h"
#include "host/LocalPath.h"

namespace {
constexpr long long kMiB = 1LL << 20;
}

RecordDirInfo RecordDirInfoEx::changeToRecordDirInfo(RecordDirInfoEx const& info) {
    RecordDirInfo out;
    out.setDiskName(info.getRecordRootDir());
    out.setGroupId(info.getGroupId());
    out.setDiskType(info.getDiskType());
    out.setAttribute(info.getAttribute());
    out.setFreeSpace(static_cast<int>(info.getFreeSpace() / kMiB));
    out.setUsableSpace(static_cast<int>(info.getUseableSpace() / kMiB));
    out.setAlarmThreshold(info.getAlarmThreshold());
    out.setFileSystemFormat(info.getFileSystemFormat());
    out.setStatus(info.getStatus());
    out.setEnableFlag(info.getEnableFlag());
    return out;
}

RecordDirInfoEx RecordDirInfoEx::changeToRecordDirInfoEx(RecordDirInfo const& info) {
    RecordDirInfoEx out;
    out.setRecordRootDir(info.getDiskName());
    out.setGroupId(info.getGroupId());
    out.setDiskType(info.getDiskType());
    out.setAttribute(info.getAttribute());
    out.setFreeSpace(static_cast<long long>(info.getFreeSpace()) * kMiB);
    out.setUseableSpace(static_cast<long long>(info.getUsableSpace()) * kMiB);
    out.setAlarmThreshold(info.getAlarmThreshold());
    out.setFileSystemFormat(info.getFileSystemFormat());
    out.setStatus(info.getStatus());
    out.setEnableFlag(info.getEnableFlag());
    return out;
}

int RecordDirInfoEx::parseDiskIndex(RecordDirInfoEx const& info) {
    if (info.getDiskType() != DiskKind::kLocal) return -1;
    LocalPath path;
    if (!path.create(info.getRecordRootDir())) return -1;
    return path.getDiskIndex();
}

bool RecordDirInfoEx::isSameDisk(RecordDirInfoEx const& a, RecordDirInfoEx const& b) {
    if (a.getDiskType() != b.getDiskType()) return false;
    if (a.getDiskType() != DiskKind::kLocal) return a.getRecordRootDir() == b.getRecordRootDir();
    LocalPath left;
    LocalPath right;
    if (!left.create(a.getRecordRootDir()) || !right.create(b.getRecordRootDir())) return false;
    if (left.getDiskIndex() >= 0 || right.getDiskIndex() >= 0)
        return left.getDiskIndex() == right.getDiskIndex();
    return left.getDiskPath() == right.getDiskPath();
}

bool RecordDirInfoEx::keepPresentDirs(std::vector<RecordDirInfoEx>& dirs) {
    std::vector<RecordDirInfoEx> present;
    for (RecordDirInfoEx& dir : dirs) {
        int state = 0;
        int format = dir.getFileSystemFormat();
        if (!DiskStateManager::getInstance()->getDiskStateInfo(dir.getRecordRootDir(), state, format)) return false;
        if (state != DiskStateManager::kStateOk) continue;
        dir.setFileSystemFormat(format);
        present.push_back(dir);
    }
    dirs.swap(present);
    return true;
}
