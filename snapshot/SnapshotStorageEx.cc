#include "snapshot/SnapshotStorageEx.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "foundation/BasicTool.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "recording/RecordFileRequestManager.h"
#include "snapshot/SnapshotDiskManagerImplEx.h"
#include "snapshot/SnapshotWriterEx.h"

namespace NS_SnapshotStorageEx {
constexpr int kSnapshotMode = 2;
}  // namespace NS_SnapshotStorageEx

SnapshotStorageEx::SnapshotStorageEx()
    : m_recordFileInfo(new RecordFileInfo()),
      m_recordDir(new NullRecordDir(RecordDirInfoEx())),
      m_pWriter(new SnapshotWriterEx()) {}

SnapshotStorageEx::~SnapshotStorageEx() {
    close();
    delete m_pWriter;
}

int SnapshotStorageEx::open(RecordInfo const& info, bool) {
    std::string deviceIP = info.getDeviceIP();
    for (char& c : deviceIP)
        if (c == ':') c = '-';
    m_recordInfo = info;
    m_recordInfo.setDeviceIP(deviceIP);
    m_recordFileInfo->setRecordMode(NS_SnapshotStorageEx::kSnapshotMode);
    m_recordFileInfo->setLockFlag(false);
    m_recordFileInfo->setDeviceId(m_recordInfo.getDeviceId());
    m_recordFileInfo->setDeviceIP(m_recordInfo.getDeviceIP());
    m_recordFileInfo->setCameraId(m_recordInfo.getCameraId());
    m_nRequestType = FileRequestContinue;
    m_bFirstFile = true;
    m_bOpened = true;
    return 0;
}

int SnapshotStorageEx::getRequestType(int code) {
    switch (code) {
        case OV_RECORD_FILE_FULL: return FileRequestFileFull;
        case OV_RECORD_WRITE_FAILED: return FileRequestWriteFailed;
        case OV_RECORD_TIME_ROLLBACK: return FileRequestTimeRollback;
        default: return FileRequestNew;
    }
}

int SnapshotStorageEx::write(int nBurstMode, TSAVData const* data) {
    m_recordFileInfo->setBurstMode(nBurstMode);
    if (!m_bOpened || data->getDataLength() >= kMaxPictureLength) return OV_RECORD_WRITE_FAILED;
    m_nDeviceTimeStamp = data->getTimeStamp() / 1000;
    // A picture lies in the folder and index of its own date, where queries
    // of that date and opening by its handle look for it. The frame queue
    // marks no day change in snapshot mode, so the file ends here.
    bool const newDay = BasicTool::getDateString(m_nDeviceTimeStamp / 1000) != m_recordFileInfo->getRecordDate();

    if (data->getDiscontinuityIndicator() || m_bFirstFile || newDay) {
        try {
            int const code = createFile();
            if (code != 0) {
                if (!m_bFirstFile) m_nRequestType = FileRequestContinue;
                return code;
            }
            m_bFirstFile = false;
        } catch (OVRuntimeError const& error) {
            baseClose();
            Logger::writeLog("SnapshotIOError", error.what(), __FILE__, __LINE__);
            return OV_RECORD_IO_ERROR;
        }
    }

    try {
        int code = writeData(data);
        if (code == 0) return 0;
        // The file has ended; the picture is offered once to a fresh one.
        baseClose();
        m_nRequestType = getRequestType(code);
        code = createFile();
        if (code != 0) return code;
        code = writeData(data);
        if (code != 0) {
            baseClose();
            m_nRequestType = getRequestType(code);
        }
        return code;
    } catch (OVRuntimeError const& error) {
        baseClose();
        Logger::writeLog("SnapshotIOError", error.what(), __FILE__, __LINE__);
        return OV_RECORD_IO_ERROR;
    }
}

int SnapshotStorageEx::createFile() {
    baseClose();
    long long const seconds = m_nDeviceTimeStamp / 1000;
    m_recordFileInfo->setRecordDate(BasicTool::getDateString(seconds));
    m_recordFileInfo->setRecordBeginTime(seconds);
    int code = SnapshotDiskManagerImplEx::getInstance()->requestRecordDir(m_recordFileInfo, m_nRequestType, 0,
                                                                         m_recordDir);
    if (code != 0) return code;
    if (!m_recordDir->isWritable()) return OV_RECORD_WRITE_FAILED;
    code = m_recordDir->createFile(m_recordFileInfo);
    if (code == 0) code = m_pWriter->open(m_recordFileInfo);
    if (code != 0) {
        char text[1024];
        std::snprintf(text, sizeof text, "device(%s,%s,%d),open RecordWrite failed,nRet = %d,errInfo=(%s)",
                      m_recordInfo.getDeviceId(), m_recordInfo.getDeviceIP(), m_recordInfo.getCameraId(), code,
                      std::strerror(errno));
        Logger::writeLog("RecordIOError", text, __FILE__, __LINE__);
        return code;
    }
    m_bWriterOpen = true;
    m_bOpened = true;
    return 0;
}

int SnapshotStorageEx::writeData(TSAVData const* data) {
    if (!m_bWriterOpen) return OV_RECORD_NOT_OPEN;
    if (!m_recordDir->isWritable()) return OV_RECORD_WRITE_FAILED;
    TSAVData copy = *data;
    copy.setTimeStamp(m_nDeviceTimeStamp);
    int const code = m_pWriter->write(&copy, m_recordFileInfo->getBurstMode());
    if (code != 0) {
        GlobalEnv::print("SnapshotStorageEx::writeData(), write failed , error[%d] \n", code);
        return code;
    }
    m_recordDir->addDataLen(static_cast<int>(data->getDataLength()));
    return 0;
}

void SnapshotStorageEx::baseClose() {
    if (!m_bWriterOpen) return;
    m_bWriterOpen = false;
    try {
        m_pWriter->close();
    } catch (OVRuntimeError const&) {
        // The session carries on; the next picture asks for a file as usual.
    }
}

int SnapshotStorageEx::close() {
    baseClose();
    // The disk choice holds a reference on the disk until the session ends.
    if (m_bOpened && !m_recordFileInfo->getRecordDirInfoEx().getRecordRootDir().empty())
        SnapshotDiskManagerImplEx::getInstance()->decreaseRecordDiskReference(m_recordFileInfo);
    m_bOpened = false;
    return 0;
}
