#include "recording/RecordStorageTSImpl.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "directory/LastRecordFileInfoManager.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/AVStreamInfo.h"
#include "foundation/BasicTool.h"
#include "foundation/EncoderType.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/PerformanceTest.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordUpdateManager.h"
#include "recording/TSFrameQueue.h"
#include "tracking/RecordLockInfoManager.h"
#include "tracking/RecordSegmentInfoManager.h"

namespace NS_RecordStorageTSImpl {
constexpr long long kMicroseconds = 1000000;

bool printing() { return GlobalEnv::getInstance()->getPrintFlag(); }

bool isVideo(TSAVData const* data) { return data->getESStreamType() == ESStream::kVideo; }
}  // namespace NS_RecordStorageTSImpl

using namespace NS_RecordStorageTSImpl;

RecordStorageTSImpl::RecordStorageTSImpl()
    : m_recordFileInfo(new RecordFileInfo()),
      m_recordDir(new NullRecordDir(RecordDirInfoEx())) {}

RecordStorageTSImpl::~RecordStorageTSImpl() { close(); }

void RecordStorageTSImpl::logIOError(char const* text, int line) {
    Logger::writeLog("RecordIOError", text, __FILE__, line);
}

int RecordStorageTSImpl::open(RecordInfo const& info, bool condition) {
    std::string deviceIP = info.getDeviceIP();
    for (char& c : deviceIP) {
        if (c == ':') c = '-';
    }
    m_recordInfo = info;
    m_recordInfo.setDeviceIP(deviceIP);

    m_recordFileInfo->setRecordMode(1);
    m_recordFileInfo->setDeviceId(m_recordInfo.getDeviceId());
    m_recordFileInfo->setDeviceIP(m_recordInfo.getDeviceIP());
    m_recordFileInfo->setCameraId(m_recordInfo.getCameraId());

    m_nRequestType = FileRequestContinue;
    m_bOpened = true;
    m_nDirCondition = condition ? 1 : 0;
    m_bFirstFile = 1;
    m_nWriteTime = 0;
    m_bWriterOpen = false;
    m_nWriteBytes = 0;
    m_nMinWriteSpeed = 0;
    return 0;
}

int RecordStorageTSImpl::write(int nParam, TSAVData const* data) {
    if (!m_bOpened) return OV_RECORD_WRITE_FAILED;
    if (isVideo(data)) m_nDeviceTimeStamp = data->getTimeStamp() / kMicroseconds;

    if (data->getDiscontinuityIndicator() || m_bFirstFile) {
        try {
            baseClose();
            if (!needCreateFile(data)) return OV_RECORD_FRAME_REFUSED;
            int code = createRecordFile(data);
            if (code == OV_RECORD_QUEUE_UPDATE_FAILED || code == OV_RECORD_NEW_INDEX_FAILED) {
                m_bFirstFile = 0;
                return OV_RECORD_FRAME_REFUSED;
            }
            if (code != 0) return code;
            m_bFirstFile = 0;
        } catch (OVRuntimeError const& error) {
            baseClose();
            logIOError(error.what(), __LINE__);
            return OV_RECORD_IO_ERROR;
        }
    }

    try {
        int code = writeData(data, nParam, false);
        if (code == 0) return 0;

        // The file has ended; the same block is offered once to a fresh file.
        baseClose();
        m_nRequestType = getRequestType(code);
        if (!needCreateFile(data)) return OV_RECORD_FRAME_REFUSED;
        code = createRecordFile(data);
        if (code == OV_RECORD_QUEUE_UPDATE_FAILED || code == OV_RECORD_NEW_INDEX_FAILED)
            return OV_RECORD_FRAME_REFUSED;
        if (code != 0) return code;
        code = writeData(data, nParam, false);
        if (code == 0) return 0;
        baseClose();
        m_nRequestType = getRequestType(code);
        return code;
    } catch (OVRuntimeError const& error) {
        // Closing a file on a failing disk may block: the directory does it.
        closeIOErrorFile();
        logIOError(error.what(), __LINE__);
        return OV_RECORD_IO_ERROR;
    }
}

bool RecordStorageTSImpl::needCreateFile(TSAVData const* data) const {
    if (!m_bFirstFile) return isVideo(data);
    return isVideo(data) && data->getFrameType() == FrameKind::kIFrame;
}

int RecordStorageTSImpl::getRequestType(int code) {
    switch (code) {
        case OV_RECORD_WRITE_FAILED:
            return FileRequestWriteFailed;
        case OV_RECORD_FILE_FULL:
            return FileRequestFileFull;
        case OV_RECORD_TIME_ROLLBACK:
            return FileRequestTimeRollback;
        default:
            return FileRequestNew;
    }
}

int RecordStorageTSImpl::createRecordFile(TSAVData const* data) {
    baseClose();
    updateRecordTime();
    m_recordFileInfo->setAVStreamInfo(AVStreamInfo(data));

    int code = RecordDiskManagerImpl::getInstance()->createRecordFile(
        m_recordFileInfo, m_nRequestType, m_nDirCondition, m_recordWriter, m_recordDir);
    if (code != 0) {
        m_bWriterOpen = false;
        return code;
    }

    m_nWriteTime = 0;
    m_nWriteBytes = 0;
    m_nMinWriteSpeed = 0;
    int nTimeLength = 0;
    code = m_recordWriter->open(m_recordFileInfo, nTimeLength);
    if (code != 0) {
        char text[1024];
        std::snprintf(text, sizeof(text),
                      "device(%s,%s,%d),open RecordWrite failed,nRet = %d,errInfo=(%s)",
                      m_recordInfo.getDeviceId(), m_recordInfo.getDeviceIP(),
                      m_recordInfo.getCameraId(), code, std::strerror(errno));
        logIOError(text, __LINE__);
        m_bWriterOpen = false;
        m_nRequestType = FileRequestOpenFailed;
        return code;
    }
    RecordUpdateManager::getInstance()->insertRecordWriter(m_recordWriter);

    long long offset = nTimeLength == 0 ? 0 : static_cast<long long>(nTimeLength) * kMicroseconds;
    if (m_TSFrameQueue == nullptr) {
        std::fprintf(stderr, "%s:%d: Assertion `m_TSFrameQueue != __null' failed.\n", __FILE__,
                     __LINE__);
        std::abort();
    }
    int directIOoffset = 0;
    if (m_recordFileInfo->getRecordDirInfoEx().getDiskType() == DiskKind::kLocal)
        directIOoffset = m_recordWriter->getDirectIOoffset();
    m_bWriterOpen = true;
    m_bOpened = true;
    // The writer stays open on failure: the session goes on in this file.
    if (!m_TSFrameQueue->updata(offset, directIOoffset)) return OV_RECORD_QUEUE_UPDATE_FAILED;
    return 0;
}

void RecordStorageTSImpl::updateRecordTime() {
    std::string date = BasicTool::getDateString(static_cast<long long>(m_nDeviceTimeStamp));
    bool sameDate = date == m_recordFileInfo->getRecordDate();
    m_recordFileInfo->setRecordBeginTime(m_nDeviceTimeStamp);
    m_recordFileInfo->setRecordDate(date);
    if (sameDate) return;

    m_bNeedLockFlag = true;
    RecordSegmentInfoManager::getInstance()->updateDeviceRecordTime(m_recordFileInfo);
    char key[128];
    std::snprintf(key, sizeof(key), "%s_%s_%d", m_recordFileInfo->getDeviceId().c_str(),
                  m_recordFileInfo->getDeviceIP().c_str(), m_recordFileInfo->getCameraId());
    RecordLockInfoManager::getInstance()->updateRecordDeviceDeleteStatus(
        m_recordFileInfo->getRecordDirInfoEx(), key, date, 0);
}

int RecordStorageTSImpl::writeData(TSAVData const* data, int nParam, bool bFlag) {
    if (!m_bWriterOpen) return OV_RECORD_NOT_OPEN;
    // A directory gone read-only ends the file at once, unless the writer is
    // finishing an update that it must see through.
    if (!m_recordDir->isWritable() && !m_recordWriter->getUpdateFlag()) return OV_RECORD_WRITE_FAILED;
    m_recordWriter->m_bWriteFlag = bFlag;

    TSAVData copy = *data;
    copy.setTimeStamp(m_nDeviceTimeStamp);
    bool lock = m_recordFileInfo->getLockFlag();

    PerformanceTest timer;
    timer.begin();
    int code = m_recordWriter->write(&copy, lock, nParam);
    timer.end();
    if (code != 0) return code;

    long long spent = timer.getWasteTime();
    if (spent < 1) spent = 1;
    long long length = data->getDataLength();
    m_nWriteBytes += static_cast<int32_t>(length);
    m_nWriteTime += spent;
    int32_t speed = static_cast<int32_t>(length / spent);
    if (m_nMinWriteSpeed == 0 || speed < m_nMinWriteSpeed) m_nMinWriteSpeed = speed;
    if (lock) {
        createRecordFileLockFlag();
        updateRecordFileLockNum();
    }
    return 0;
}

void RecordStorageTSImpl::createRecordFileLockFlag() {
    if (!m_bNeedLockFlag) return;
    RecordDirInfoEx dir = m_recordFileInfo->getRecordDirInfoEx();
    std::string deviceDir = BasicTool::getDeviceDirString(
        m_recordFileInfo->getDeviceId(), m_recordFileInfo->getDeviceIP(), m_recordFileInfo->getCameraId());
    std::string date = BasicTool::getDateString(m_recordFileInfo->getRecordBeginTime());
    std::string marker = BasicTool::createWholeFileName(1, dir.getRecordRootDir(), deviceDir, date,
                                                        BasicTool::kLockMarkerName);
    if (printing()) std::printf("createRecordFileLockFlag : %s \n", marker.c_str());
    IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
    if (disk == nullptr) return;
    if (disk->isFileExist(marker.c_str()) == 1) {
        m_bNeedLockFlag = false;
        return;
    }
    // On failure the flag stays set and the next locked block tries again.
    if (disk->createEmptyFile(marker.c_str()) != 0) m_bNeedLockFlag = false;
}

void RecordStorageTSImpl::updateRecordFileLockNum() {
    if (m_recordFileInfo->getRecordFileName() == m_strLastLockFile) return;
    m_strLastLockFile = m_recordFileInfo->getRecordFileName();
    RecordDirInfoEx dir = m_recordFileInfo->getRecordDirInfoEx();
    std::string date = BasicTool::getDateString(m_recordFileInfo->getRecordBeginTime());
    std::string deviceDir = BasicTool::getDeviceDirString(
        m_recordFileInfo->getDeviceId(), m_recordFileInfo->getDeviceIP(), m_recordFileInfo->getCameraId());
    int lockFileNum = 0;
    int deletedStatus = 0;
    RecordLockInfoManager* locks = RecordLockInfoManager::getInstance();
    locks->getRecordLockInfo(dir, deviceDir, date, lockFileNum, deletedStatus);
    // The lock memory keeps no counts: the line is where this one shows, so
    // line and store take the same value.
    int lockNum = lockFileNum + 1;
    if (printing())
        std::printf("RecordStorageTSImpl::updateRecordFileLockNum, %s, %s, %d \n", deviceDir.c_str(),
                    date.c_str(), lockNum);
    locks->updateRecordDeviceLockInfo(dir, deviceDir, date, lockNum, deletedStatus);
}

void RecordStorageTSImpl::baseClose() {
    if (m_nWriteBytes != 0 && m_nWriteTime != 0 && !m_recordWriter.isNull()) {
        m_recordDir->updateFileState(m_recordFileInfo->getFileNumber(), m_nMinWriteSpeed,
                                     static_cast<int>(m_nWriteBytes / m_nWriteTime),
                                     m_recordWriter->m_nTimeOutCount);
    }
    m_nWriteTime = 0;
    m_nWriteBytes = 0;
    if (!m_bWriterOpen) return;
    m_bWriterOpen = false;
    try {
        RecordUpdateManager::getInstance()->deleteRecordWriter(m_recordWriter);
        m_recordWriter->close();
    } catch (OVRuntimeError const&) {
        // The session carries on; the next file is asked for as usual.
    }
}

void RecordStorageTSImpl::closeIOErrorFile() {
    if (m_bWriterOpen) {
        RecordUpdateManager::getInstance()->deleteRecordWriter(m_recordWriter);
        m_recordDir->closeRecordWriter(m_recordWriter);
    }
    m_bWriterOpen = false;
}

int RecordStorageTSImpl::close() {
    baseClose();
    // One release per open: a second close, or the destructor's, gives back
    // nothing that this session does not hold.
    if (!m_bOpened) return 0;
    m_bOpened = false;
    RecordDiskManagerImpl::getInstance()->decreaseRecordDiskReference(m_recordFileInfo);
    if (LastRecordFileInfoManager* last = LastRecordFileInfoManager::getInstance())
        last->eraseLastRecordFileInfo(m_recordFileInfo);
    return 0;
}

void RecordStorageTSImpl::setLockFlag(bool lock) { m_recordFileInfo->setLockFlag(lock); }
