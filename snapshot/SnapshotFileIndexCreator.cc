#include "snapshot/SnapshotFileIndexCreator.h"

#include <map>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/ReturnCode.h"
#include "foundation/TimeConvert.h"
#include "host/DiskManagerFactory.h"
#include "snapshot/SnapshotDirOperatorEx.h"
#include "snapshot/SnapshotFileIndexWriterEx.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "snapshot/SnapshotUseableFileDir.h"

namespace NS_SnapshotFileIndexCreator {
// Seconds a new data file's begin time may step back to find a free name.
constexpr int kNameTries = 3600;

OVMutex g_writingMutex;
std::map<std::string, std::string> g_writing;  // device dir -> data file; guarded by g_writingMutex

void setWritingFile(RecordFileInfo const& file) {
    OV_LOCK_GUARD(guard, g_writingMutex);
    g_writing[file.getDeviceDirName()] = SnapshotDirOperatorEx::getSnapshotFilePath(file);
}
}  // namespace NS_SnapshotFileIndexCreator

std::string SnapshotFileIndexCreator::getWritingFile(std::string const& deviceDir) {
    OV_LOCK_GUARD(guard, NS_SnapshotFileIndexCreator::g_writingMutex);
    auto const found = NS_SnapshotFileIndexCreator::g_writing.find(deviceDir);
    return found == NS_SnapshotFileIndexCreator::g_writing.end() ? std::string() : found->second;
}

bool SnapshotFileIndexCreator::isWritingFile(RecordDirInfoEx const& dir, std::string const& deviceDir,
                                             std::string const& date, std::string const& name) {
    return getWritingFile(deviceDir) == BasicTool::createWholeFileName(2, dir.getRecordRootDir(), deviceDir, date, name);
}

SnapshotFileIndexCreator::SnapshotFileIndexCreator(RecordDirInfoEx const& dir)
    : m_dirInfo(dir), m_pDisk(DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat())) {}

std::string SnapshotFileIndexCreator::createRecordFileName(RecordFileInfo const& file, long long nBeginTime) {
    return BasicTool::getSnapshotFileName(file.getDeviceId(), file.getDeviceIP(), file.getCameraId(),
                                          TimeConvert::getStrTime(static_cast<unsigned long>(nBeginTime)), ".mjpeg");
}

int SnapshotFileIndexCreator::createFileIndex(SafePointer<RecordFileInfo>& file, bool bNewFile, bool& needFile) {
    needFile = false;
    if (file.isNull() || m_pDisk == nullptr) return OV_RECORD_CREATE_INDEX_FAILED;
    RecordFileInfo& info = *file;
    info.setRecordDirInfoEx(m_dirInfo);
    SnapshotIndexFileParserEx parser;
    parser.open(m_dirInfo, info.getRecordDate(), info.getDeviceDirName());
    RecordFileInfo last;
    if (!bNewFile && !needCreateNewFileIndex(parser, info, last)) return getOldFileIndex(info, last);
    int const code = createNewFileIndex(parser, info);
    needFile = code == 0;
    return code;
}

bool SnapshotFileIndexCreator::needCreateNewFileIndex(SnapshotIndexFileParserEx& parser, RecordFileInfo const& file,
                                                      RecordFileInfo& last) {
    // The index is the channel's own snapshot index (its device dir under
    // "snapshot"), so device, camera and record mode match by where it lies;
    // an entry without pictures takes any burst mode.
    if (parser.getLastestFileInfo(last) != 0) return true;
    if (last.getBurstMode() >= 0 && last.getBurstMode() != (file.getBurstMode() & 0x0F)) return true;
    RecordFileInfo named = file;
    named.setRecordFileName(last.getRecordFileName());
    return m_pDisk->isFileExist(SnapshotDirOperatorEx::getSnapshotFilePath(named).c_str()) != 1;
}

int SnapshotFileIndexCreator::getOldFileIndex(RecordFileInfo& file, RecordFileInfo const& last) {
    file.setRecordFileName(last.getRecordFileName());
    file.setRecordBeginTime(last.getRecordBeginTime());
    NS_SnapshotFileIndexCreator::setWritingFile(file);
    return 0;
}

int SnapshotFileIndexCreator::createNewFileIndex(SnapshotIndexFileParserEx& parser, RecordFileInfo& file) {
    // Two data files of a date must not share a name, yet a new one may be
    // asked for within the second that named the last (a full file, a new
    // burst mode). An earlier begin time keeps every picture's offset
    // positive, where a later one would not.
    long long begin = file.getRecordBeginTime();
    for (int tries = 0;; ++tries, --begin) {
        if (tries == NS_SnapshotFileIndexCreator::kNameTries) return OV_RECORD_FILE_NAME_FAILED;
        file.setRecordFileName(createRecordFileName(file, begin));
        if (m_pDisk->isFileExist(SnapshotDirOperatorEx::getSnapshotFilePath(file).c_str()) == 1) continue;
        if (deleteOldFileIndex(parser, file.getRecordFileName())) break;
    }
    file.setRecordBeginTime(begin);
    parser.close();
    NS_SnapshotFileIndexCreator::setWritingFile(file);
    SnapshotFileIndexWriterEx writer;
    int const code = writer.open(file, true);
    writer.close();
    return code;
}

bool SnapshotFileIndexCreator::deleteOldFileIndex(SnapshotIndexFileParserEx& parser, std::string const& name) {
    int at = 0, headEnd = 0, end = 0;
    if (parser.getIndexPosByFileName(name, at, headEnd, end) != 0) return true;
    bool empty = false;
    return parser.deleteFile(name, empty) == 1;
}
