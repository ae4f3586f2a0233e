#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "retrieval/RecordRetrieverImpl.h"
#include "tracking/RecordSegmentInfoManager.h"
#include "tracking/RecordingMarkManager.h"

namespace NS_RecordRetrieverImpl {

constexpr int kNoMoreDataYet = -9;
constexpr int kFileMissing = -101;
constexpr int kWholeDay = 86400;
// File times are whole seconds and an item lasts up to a few: the next file
// is entered this far before the end of the last one.
constexpr long long kStepOverlap = 2;
// locateTime on the first seconds of a file may belong to the file before.
constexpr long long kPreviousIFrameReach = 3;

bool isSameFile(RecordFileInfo const& a, RecordFileInfo const& b) {
    return a.getRecordBeginTime() == b.getRecordBeginTime() && a.getRecordFileName() == b.getRecordFileName() &&
           a.getRecordDirInfoEx() == b.getRecordDirInfoEx();
}

}  // namespace NS_RecordRetrieverImpl

using namespace NS_RecordRetrieverImpl;

int RecordRetrieverImpl::open(RecordInfo const& info, bool bIFrameOnly) {
    m_bIFrameOnly = bIFrameOnly;
    m_fileQuery.setIFrameFlag(bIFrameOnly);
    setDeviceId(info.getDeviceId());
    setDeviceIP(BasicTool::getFileNameIP(info.getDeviceIP()));
    setCameraId(info.getCameraId());
    setRecordBeginTime(info.getRecordBeginTime());
    setRecordEndTime(info.getRecordEndTime());
    setLockFlag(info.getLockFlag());
    close();

    if (*getDeviceId() == '\0' || getCameraId() < 0) return OV_RECORD_NO_MATCH_DEVICE;
    if (!isDeviceKeyValid(getDeviceId(), getDeviceIP())) return OV_RECORD_BAD_DEVICE_KEY;
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    std::set<std::string> devices;
    getMatchDeviceList(dirs, getDeviceId(), getDeviceIP(), getCameraId(), devices);
    if (devices.empty()) return OV_RECORD_DIR_OPEN_FAILED;
    m_fileQuery.setDeviceList(devices);
    m_fileQuery.setRecordDirInfo(dirs);
    // Caches kept from an earlier open may hold an index that has grown since.
    m_fileQuery.updateRecordCache();

    nRet = updateRecordFileInfo(static_cast<long long>(getRecordBeginTime()), true);
    if (nRet != 0) return nRet;
    setFilePos(m_nBeginPos);
    return 0;
}

int RecordRetrieverImpl::updateRecordFileInfo(long long nTime, bool bForward) {
    long long const begin = static_cast<long long>(getRecordBeginTime());
    long long const end = static_cast<long long>(getRecordEndTime());
    long long search = nTime;
    if (!bForward) {
        if (end != 0 && nTime > end) search = end;
        else search = std::max(begin, nTime);
    }
    SafePointer<RecordFileInfo> file;
    if (m_fileQuery.getRecordFileInfo(search, file, bForward) == 0) return OV_RECORD_NO_PREVIOUS_FILE;
    if ((end != 0 && file->getRecordBeginTime() >= end) || file->getRecordEndTime() <= begin) {
        return OV_RECORD_NO_NEXT_FILE;
    }
    closeReader();
    int nRet = openFile(file);
    if (nRet != 0) {
        closeReader();
        return nRet;
    }
    m_currentFile = file;
    if (locateBeginFilePos() != 0) {
        closeReader();
        return OV_RECORD_LOCATE_BEGIN_FAILED;
    }
    if (locateEndFilePos() != 0) {
        closeReader();
        return OV_RECORD_LOCATE_END_FAILED;
    }
    return 0;
}

int RecordRetrieverImpl::openFile(SafePointer<RecordFileInfo> const& file) {
    closeReader();
    SafePointer<RecordFileInfo> target = file;
    // Steps always go over I-frame items and time lookups over all items,
    // whatever the mode: a step that stopped on an item cut by time would not
    // start a picture.
    RecordIndexCache iFrames;
    RecordIndexCache whole;
    if (m_fileQuery.getRecordFileIndexList(target, iFrames, true) == 0 ||
        m_fileQuery.getRecordFileIndexList(target, whole, false) == 0) {
        return OV_RECORD_OPEN_INDEX_FAILED;
    }
    std::unique_ptr<RecordFileReaderWithIndex> reader(new RecordFileReaderWithIndex());
    reader->setRecordIndexList(iFrames);
    reader->setRecordWholeIndexList(whole);
    int nRet = reader->open(*target);
    if (nRet == kFileMissing) {
        m_fileQuery.deleteFile(target);
        RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(target);
        return nRet;
    }
    if (nRet != 0) return nRet;
    m_pReader = std::move(reader);
    return 0;
}

int RecordRetrieverImpl::locateBeginFilePos() {
    long long const begin = static_cast<long long>(getRecordBeginTime());
    long long const fileBegin = m_currentFile->getRecordBeginTime();
    int const actualBegin = m_currentFile->getActualBeginTimeOffset();
    int pos = 0;
    if (actualBegin != 0 || fileBegin < begin) {
        long long offset = begin < fileBegin ? 0 : begin - fileBegin;
        offset = std::max<long long>(offset, actualBegin);
        pos = m_pReader->getFilePosByTimeStamp(static_cast<int>(std::min<long long>(offset, kWholeDay * 2LL)), true);
        if (pos == -1) pos = 0;
    }
    if (pos < 0) return -1;
    m_nBeginPos = pos;
    m_pReader->setFileBeginPos(pos);
    m_nBeginPos = m_pReader->getBeginPos();
    return 0;
}

int RecordRetrieverImpl::locateEndFilePos() {
    long long const end = static_cast<long long>(getRecordEndTime());
    long long const fileBegin = m_currentFile->getRecordBeginTime();
    long long const fileEnd = m_currentFile->getRecordEndTime();
    int const actualEnd = m_currentFile->getActualEndTimeOffset();
    int pos = 0;
    if ((end == 0 || end >= fileEnd) && fileEnd - fileBegin == actualEnd) {
        pos = m_pReader->getLength();
    } else {
        long long limit = (end != 0 && end < fileEnd) ? end - fileBegin : kWholeDay;
        bool ceil = m_bIFrameOnly;
        if (limit >= actualEnd) {
            limit = actualEnd;
            ceil = true;
        }
        if (m_bIFrameOnly) ++limit;
        pos = m_pReader->getFilePosByTimeStamp(static_cast<int>(limit), ceil);
        if (pos == -1) pos = ceil ? m_pReader->getLength() : 0;
    }
    if (pos < 0) return -1;
    m_pReader->setFileEndPos(pos);
    m_nEndPos = m_pReader->getEndPos();
    return 0;
}

bool RecordRetrieverImpl::setFilePos(int nPos) { return m_pReader && m_pReader->setFilePos(nPos) == 1; }

void RecordRetrieverImpl::closeReader() {
    if (m_pReader) m_pReader->close();
    m_pReader.reset();
}

bool RecordRetrieverImpl::isDirExist() const {
    RecordDirInfoEx const& dir = m_currentFile->getRecordDirInfoEx();
    IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
    return disk != nullptr && disk->isDirExist(m_currentFile->getDateDir().c_str()) != 0;
}

bool RecordRetrieverImpl::isExistRecordingMark(RecordFileInfo const& file) const {
    std::string const date =
        BasicTool::getDateString(file.getRecordBeginTime() + file.getActualEndTimeOffset());
    std::string const deviceDir =
        BasicTool::getDeviceDirString(file.getDeviceId(), file.getDeviceIP(), file.getCameraId());
    return RecordingMarkManager::getInstance()->isExistMark(deviceDir, date);
}

int RecordRetrieverImpl::read(char* buffer, int nLength) {
    if (!m_pReader) return OV_RECORD_NOT_OPEN;
    if (!isDirExist()) return OV_RECORD_FILE_UPDATED;
    int nRet = m_pReader->read(buffer, nLength);
    if (nRet != 0) return nRet;

    long long const end = static_cast<long long>(getRecordEndTime());
    long long const fileEnd = m_currentFile->getRecordBeginTime() + m_currentFile->getActualEndTimeOffset();
    if (end != 0 && fileEnd >= end) return 0;
    m_preFile = m_currentFile;
    int const oldPos = m_pReader->getBeginPos() + m_pReader->getCurrentFilePos();
    nRet = updateRecordFileInfo(fileEnd, true);
    if (nRet == OV_RECORD_NO_NEXT_FILE) return 0;
    if (nRet == OV_RECORD_NO_PREVIOUS_FILE) {
        if (!isExistRecordingMark(*m_currentFile)) return 0;
        m_fileQuery.updateRecordCache();
        return kNoMoreDataYet;
    }
    if (nRet != 0) return nRet;

    int pos = 0;
    long long const fileBegin = m_currentFile->getRecordBeginTime();
    if (isSameFile(*m_currentFile, *m_preFile)) {
        pos = oldPos;  // the file grew while it was read
    } else if (fileBegin < fileEnd) {
        int offset = static_cast<int>(std::max<long long>(fileEnd - kStepOverlap - fileBegin, 0));
        if (m_pReader->getFilePosByTimeStamp(offset, false) >= 0) {
            pos = m_pReader->getFilePosByTimeStamp(offset, true);
            if (pos == -1) pos = m_pReader->getLength();
        }
    }
    if (!setFilePos(pos)) return OV_RECORD_OPEN_FILE_FAILED;
    return m_pReader->read(buffer, nLength);
}

int RecordRetrieverImpl::locateTime(unsigned long nTime) {
    if (!m_pReader) return OV_RECORD_NOT_OPEN;
    long long const time = static_cast<long long>(nTime);
    long long fileBegin = m_currentFile->getRecordBeginTime();
    if (time < fileBegin + m_currentFile->getActualBeginTimeOffset() ||
        time >= fileBegin + m_currentFile->getActualEndTimeOffset()) {
        int nRet = updateRecordFileInfo(time, true);
        if (nRet != 0) return nRet;
        fileBegin = m_currentFile->getRecordBeginTime();
    }
    int const offset = static_cast<int>(std::max<long long>(time - fileBegin, 0));
    int pos = m_pReader->getFilePosByTimeStamp(offset, false);
    if (m_currentFile->getActualBeginTimeOffset() == 0 && pos == -1) {
        if (offset != 1 && offset != 2) return OV_RECORD_LOCATE_FAILED;
        SafePointer<RecordFileInfo> kept = m_currentFile;
        if (updateRecordFileInfo(kept->getRecordBeginTime(), false) != 0) return OV_RECORD_LOCATE_FAILED;
        long long const lastIFrame = m_currentFile->getRecordBeginTime() + m_pReader->getLastIFrameTime();
        if (m_pReader->getLastIFrameTime() >= 0 && time - lastIFrame <= kPreviousIFrameReach) {
            pos = m_pReader->getLastIFramePos();
        } else {
            closeReader();
            if (openFile(kept) != 0) return OV_RECORD_LOCATE_FAILED;
            m_currentFile = kept;
            if (locateBeginFilePos() != 0 || locateEndFilePos() != 0) return OV_RECORD_LOCATE_FAILED;
            pos = m_pReader->getFilePosByTimeStamp(offset, true);
        }
    } else if (pos < m_nBeginPos) {
        pos = m_pReader->getFilePosByTimeStamp(offset, true);
    }
    if (pos < 0 || !setFilePos(pos)) return OV_RECORD_LOCATE_FAILED;
    return 0;
}

int RecordRetrieverImpl::locateNextIFrame() {
    if (!m_pReader) return OV_RECORD_NOT_OPEN;
    int pos = m_pReader->getNextIFramePos();
    if (pos >= 0 && pos < m_nEndPos) return setFilePos(pos) ? 0 : OV_RECORD_LOCATE_FAILED;

    long long const end = static_cast<long long>(getRecordEndTime());
    long long const fileEnd = m_currentFile->getRecordBeginTime() + m_currentFile->getActualEndTimeOffset();
    if (end != 0 && fileEnd >= end) return OV_RECORD_NO_NEXT_FILE;
    GlobalEnv::print("RecordRetrieverImpl::locateNextIFrame(), nLastRecordEndTime=%lld \n", fileEnd);
    SafePointer<RecordFileInfo> previous = m_currentFile;
    int nRet = updateRecordFileInfo(fileEnd, true);
    if (nRet != 0) return nRet;
    long long const fileBegin = m_currentFile->getRecordBeginTime();
    int const actualBegin = m_currentFile->getActualBeginTimeOffset();
    // Landing goes over I-frame items: the first item of a file may be the
    // tail of a picture begun in the file before.
    if (isSameFile(*m_currentFile, *previous)) {
        pos = m_pReader->getIFramePosByTimeStamp(static_cast<int>(fileEnd - fileBegin), true);
    } else if (actualBegin == 0 && fileBegin >= fileEnd) {
        pos = m_pReader->getFirstIFrameFilePos();
    } else {
        long long offset = fileBegin < fileEnd ? fileEnd - kStepOverlap - fileBegin : 0;
        pos = m_pReader->getIFramePosByTimeStamp(static_cast<int>(std::max<long long>(offset, actualBegin)), true);
    }
    if (pos < 0 || !setFilePos(pos)) return OV_RECORD_LOCATE_FAILED;
    return 0;
}

int RecordRetrieverImpl::locatePreIFrame() {
    if (!m_pReader) return OV_RECORD_NOT_OPEN;
    int pos = m_pReader->getPreIFramePos();
    if (pos < m_nBeginPos) {
        long long const spanBegin = m_currentFile->getRecordBeginTime() + m_currentFile->getActualBeginTimeOffset();
        // The window's first picture: a search from there would find this
        // very file again.
        if (spanBegin <= static_cast<long long>(getRecordBeginTime())) return OV_RECORD_NO_PREVIOUS_I_FRAME;
        SafePointer<RecordFileInfo> previous = m_currentFile;
        int nRet = updateRecordFileInfo(spanBegin, false);
        if (nRet == OV_RECORD_NO_PREVIOUS_FILE) return OV_RECORD_NO_PREVIOUS_I_FRAME;
        if (nRet != 0) return nRet;
        if (isSameFile(*m_currentFile, *previous)) return OV_RECORD_NO_PREVIOUS_I_FRAME;
        pos = m_pReader->getIFramePosByTimeStamp(m_currentFile->getActualEndTimeOffset(), false);
        if (pos < 0) return OV_RECORD_LOCATE_FAILED;
    }
    return setFilePos(pos) ? 0 : OV_RECORD_LOCATE_FAILED;
}

int RecordRetrieverImpl::locatePreIFrame(unsigned long nTime) {
    if (!m_pReader) return OV_RECORD_NOT_OPEN;
    long long const time = static_cast<long long>(nTime);
    if (static_cast<long long>(getRecordBeginTime()) >= time) return OV_RECORD_NO_PREVIOUS_I_FRAME;
    long long fileBegin = m_currentFile->getRecordBeginTime();
    if (time < fileBegin + m_currentFile->getActualBeginTimeOffset() ||
        time >= fileBegin + m_currentFile->getActualEndTimeOffset()) {
        int nRet = updateRecordFileInfo(time, false);
        if (nRet != 0 && nRet != OV_RECORD_NO_PREVIOUS_FILE) return nRet;
        if (!m_pReader) return OV_RECORD_NOT_OPEN;
        fileBegin = m_currentFile->getRecordBeginTime();
    }
    if (time > fileBegin + m_currentFile->getActualBeginTimeOffset()) {
        int pos = m_pReader->getPreIFramePos(static_cast<int>(time - fileBegin));
        if (pos != -1) return setFilePos(pos) ? 0 : OV_RECORD_LOCATE_FAILED;
    }
    SafePointer<RecordFileInfo> previous = m_currentFile;
    int nRet = updateRecordFileInfo(fileBegin + m_currentFile->getActualBeginTimeOffset(), false);
    if (nRet == OV_RECORD_NO_PREVIOUS_FILE) return OV_RECORD_NO_PREVIOUS_I_FRAME;
    if (nRet != 0) return nRet;
    if (isSameFile(*m_currentFile, *previous)) return OV_RECORD_NO_PREVIOUS_I_FRAME;
    int pos = m_pReader->getPreIFramePos(static_cast<int>(time - m_currentFile->getRecordBeginTime()));
    if (pos < 0 || !setFilePos(pos)) return OV_RECORD_LOCATE_FAILED;
    return 0;
}

int RecordRetrieverImpl::close() {
    closeReader();
    m_currentFile.reset();
    m_preFile.reset();
    m_nBeginPos = 0;
    m_nEndPos = 0;
    return 0;
}
