#include "retrieval/RecordRetrieverWithoutIndexImpl.h"

#include <algorithm>

#include "directory/RecordDirWithoutIndexOperator.h"
#include "foundation/EncoderType.h"
#include "foundation/OVMutexManager.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/DiskStateManager.h"
#include "host/FileFactory.h"

std::vector<RecordDirInfoEx> RecordRetrieverWithoutIndexImpl::m_RecordDirInfoExList;
OVMutex RecordRetrieverWithoutIndexImpl::m_DirInfoMutex;

void RecordRetrieverWithoutIndexImpl::setRecordDirList(std::vector<RecordDirInfoEx> const& list) {
    std::vector<RecordDirInfoEx> ftp;
    for (RecordDirInfoEx const& dir : list)
        if (dir.getEnableFlag() && dir.getDiskType() == DiskKind::kFtp) ftp.push_back(dir);
    OV_LOCK_GUARD(guard, m_DirInfoMutex);
    m_RecordDirInfoExList.swap(ftp);
}

int RecordRetrieverWithoutIndexImpl::getRecordDirList(std::vector<RecordDirInfoEx>& list) {
    {
        OV_LOCK_GUARD(guard, m_DirInfoMutex);
        list = m_RecordDirInfoExList;
    }
    if (list.empty()) return OV_RECORD_NO_DIR;
    std::vector<RecordDirInfoEx> present;
    for (RecordDirInfoEx& dir : list) {
        int state = 0;
        int format = dir.getFileSystemFormat();
        // A share that is away has nothing to give and must not hide the others.
        if (!DiskStateManager::getInstance()->getDiskStateInfo(dir.getRecordRootDir(), state, format) ||
            state != DiskStateManager::kStateOk)
            continue;
        dir.setFileSystemFormat(format);
        present.push_back(dir);
    }
    list.swap(present);
    return 0;
}

int RecordRetrieverWithoutIndexImpl::queryFtpRecord(RecordQueryCondition const& condition,
                                                    std::vector<RecordFileEx>& files) {
    std::vector<RecordDirInfoEx> dirs;
    int const code = getRecordDirList(dirs);
    if (code != 0) return code;
    std::vector<RecordFileEx> found;
    for (RecordDirInfoEx const& dir : dirs) {
        RecordDirWithoutIndexOperator walker(dir);
        if (!walker.init(dir, DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat())))
            continue;
        walker.queryRecordFile(condition, found);
    }
    std::stable_sort(found.begin(), found.end(), [](RecordFileEx const& a, RecordFileEx const& b) {
        return a.getRecordFileBeginTime() < b.getRecordFileBeginTime();
    });
    files.insert(files.end(), found.begin(), found.end());
    return 0;
}

int RecordRetrieverWithoutIndexImpl::openFtpRecord(char const* fileName) {
    closeFtpRecord();
    if (fileName == nullptr) return OV_RECORD_FTP_OPEN_FAILED;
    std::vector<RecordDirInfoEx> dirs;
    if (getRecordDirList(dirs) != 0) return OV_RECORD_FTP_OPEN_FAILED;
    for (RecordDirInfoEx const& dir : dirs) {
        RecordDirWithoutIndexOperator walker(dir);
        std::string path;
        if (!walker.init(dir, DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat())) ||
            !walker.findRecordFile(fileName, path))
            continue;
        SafePointer<IFile> file = FileFactory::createFile(dir.getDiskType(), dir.getFileSystemFormat());
        if (file.isNull() || !file->open(path.c_str(), IFile::kModeRead)) continue;
        m_file = file;
        m_strFileName = path;
        return 0;
    }
    return OV_RECORD_FTP_OPEN_FAILED;
}

int RecordRetrieverWithoutIndexImpl::readFtpRecord(char* buffer, int nLength) {
    if (m_file.isNull()) return OV_RECORD_FTP_NOT_OPEN;
    if (buffer == nullptr || nLength <= 0) return 0;
    int const read = m_file->read(buffer, nLength);
    return read < 0 ? OV_RECORD_OPEN_FILE_FAILED : read;
}

long long RecordRetrieverWithoutIndexImpl::getFileLength() {
    if (m_file.isNull()) return OV_RECORD_FTP_NOT_OPEN;
    return m_file->getLength();
}

void RecordRetrieverWithoutIndexImpl::closeFtpRecord() {
    if (m_file.isNull()) return;
    m_file->close();
    m_file.reset();
    m_strFileName.clear();
}
