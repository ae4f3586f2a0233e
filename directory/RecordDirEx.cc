#include "directory/RecordDirEx.h"

#include <cstdio>
#include <cstdlib>

#include "foundation/BasicTool.h"
#include "foundation/EncoderType.h"
#include "host/GlobalEnv.h"

bool RecordDirEx::initRecordDir(SafePointer<IRecordDir>& dir) {
    m_dir = dir;
    m_nDiskNum = getDiskNum(dir);
    m_nPartitionNum = getPartitionNum(dir);
    if (GlobalEnv::getInstance()->getPrintFlag())
        std::printf("RecordDirEx::initRecordDir, m_nDiskNum = %d , m_nPartitionNum=%d \n", m_nDiskNum,
                    m_nPartitionNum);
    return m_nDiskNum != -1 && m_nPartitionNum != -1;
}

int RecordDirEx::getDiskNum(SafePointer<IRecordDir>& dir) {
    if (dir.get() == nullptr) return -1;
    RecordDirInfoEx info = dir->getRecordDirInfoEx();
    if (info.getDiskType() != DiskKind::kLocal) return -1;
    std::string const& name = info.getRecordDiskName();
    std::string::size_type at = name.find('@');
    int number = -1;
    if (at == std::string::npos || at + 1 >= name.size() || !BasicTool::getNumber(name[at + 1], number)) return -1;
    return number;
}

int RecordDirEx::getPartitionNum(SafePointer<IRecordDir>& dir) {
    if (dir.get() == nullptr) return -1;
    RecordDirInfoEx info = dir->getRecordDirInfoEx();
    std::string const& root = info.getRecordRootDir();
    if (info.getDiskType() != DiskKind::kLocal || root.empty()) return -1;
    char last[2] = {root.back(), '\0'};
    return static_cast<int>(std::strtol(last, nullptr, 10));
}

bool RecordDirEx::operator<(RecordDirEx const& other) const {
    if (m_nDiskNum != other.m_nDiskNum) return m_nDiskNum < other.m_nDiskNum;
    return m_nPartitionNum < other.m_nPartitionNum;
}

bool RecordDirEx::operator>(RecordDirEx const& other) const {
    if (m_nDiskNum != other.m_nDiskNum) return m_nDiskNum > other.m_nDiskNum;
    return m_nPartitionNum < other.m_nPartitionNum;
}
