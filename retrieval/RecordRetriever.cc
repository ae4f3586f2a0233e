#include "retrieval/RecordRetriever.h"

#include <cstdio>

#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/Logger.h"
#include "host/PerformanceTest.h"
#include "host/sy_system.h"
#include "retrieval/RecordRetrieverImpl.h"
#include "retrieval/RecordRetrieverWithoutIndexImpl.h"

namespace NS_RecordRetriever {

// Runs one operation of the implementation; a host file error inside it is
// logged and answered with -739 instead of leaving the library.
template <typename Operation>
int guarded(Operation operation) {
    try {
        return operation();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
        return OV_RECORD_IO_ERROR;
    }
}

}  // namespace NS_RecordRetriever

using NS_RecordRetriever::guarded;

RecordRetriever::RecordRetriever()
    : m_pImpl(new RecordRetrieverImpl()), m_pFtpImpl(new RecordRetrieverWithoutIndexImpl()) {}

RecordRetriever::~RecordRetriever() { close(); }

int RecordRetriever::open(RecordInfo const& info, bool bIFrameOnly) {
    m_nMode = kModeIndexed;
    m_pFtpImpl->closeFtpRecord();
    int nRet = guarded([&] { return m_pImpl->open(info, bIFrameOnly); });
    if (nRet != 0) {
        char text[256];
        std::snprintf(text, sizeof(text), "open %s_%d failed nRet:%d", info.getDeviceId(),
                      info.getCameraId(), nRet);
        RecordRetrieverImpl::writeQueryLog(text);
    }
    return nRet;
}

int RecordRetriever::read(char* buffer, int nLength) {
    int nRet = guarded([&] {
        return m_nMode == kModeFtp ? m_pFtpImpl->readFtpRecord(buffer, nLength) : m_pImpl->read(buffer, nLength);
    });
    if (nRet < 0) {
        char text[64];
        std::snprintf(text, sizeof(text), "read failed nRet:%d", nRet);
        RecordRetrieverImpl::writeQueryLog(text);
    }
    return nRet;
}

int RecordRetriever::locateTime(unsigned long nTime) {
    if (m_nMode == kModeFtp) return 0;
    PerformanceTest timer;
    timer.begin();
    int nRet = guarded([&] { return m_pImpl->locateTime(nTime); });
    timer.end();
    // A field diagnostic: the last seek's duration where a technician can
    // read it.
    if (StorageParameterManage::getInstance()->getKeepSceneFlag()) {
        char command[64];
        std::snprintf(command, sizeof(command), "echo %lld >/temp/locate",
                      timer.getWasteTime() / 1000);
        sy_system(command);
    }
    return nRet;
}

int RecordRetriever::locateNextIFrame() {
    if (m_nMode == kModeFtp) return 0;
    return guarded([&] { return m_pImpl->locateNextIFrame(); });
}

int RecordRetriever::locatePreIFrame() {
    if (m_nMode == kModeFtp) return 0;
    return guarded([&] { return m_pImpl->locatePreIFrame(); });
}

int RecordRetriever::locatePreIFrame(unsigned long nTime) {
    if (m_nMode == kModeFtp) return 0;
    return guarded([&] { return m_pImpl->locatePreIFrame(nTime); });
}

int RecordRetriever::close() {
    return guarded([&] {
        m_pFtpImpl->closeFtpRecord();
        return m_pImpl->close();
    });
}

int RecordRetriever::openFtpRecord(char const* fileName) {
    return guarded([&] {
        m_pImpl->close();
        m_nMode = kModeFtp;
        return m_pFtpImpl->openFtpRecord(fileName);
    });
}

int RecordRetriever::getFtpFileLength(long long& nLength) {
    return guarded([&] {
        long long const length = m_pFtpImpl->getFileLength();
        if (length == OV_RECORD_FTP_NOT_OPEN) return static_cast<int>(OV_RECORD_FTP_NOT_OPEN);
        if (length < 0) return static_cast<int>(OV_RECORD_OPEN_FILE_FAILED);
        nLength = length;
        return 0;
    });
}

int RecordRetriever::queryFtpRecord(RecordQueryCondition const& condition, std::vector<RecordFileEx>& files) {
    return guarded([&] { return m_pFtpImpl->queryFtpRecord(condition, files); });
}

int RecordRetriever::setRecordDirList(std::vector<RecordDirInfo> const& list) {
    return guarded([&] {
        std::vector<RecordDirInfoEx> dirs;
        for (RecordDirInfo const& info : list) {
            std::printf(" RecordRetriever::setRecordDirList %s \n\n", info.getDiskName());
            dirs.push_back(RecordDirInfoEx::changeToRecordDirInfoEx(info));
        }
        RecordRetrieverImpl::setRecordDirList(dirs);
        RecordRetrieverWithoutIndexImpl::setRecordDirList(dirs);
        return 0;
    });
}

int RecordRetriever::query(RecordQueryCondition const& condition,
                           std::vector<RecordQueryResult>& results) {
    return guarded([&] { return m_pImpl->query(condition, results, false); });
}

int RecordRetriever::queryRecordWithDataLen(RecordQueryCondition const& condition,
                                            std::vector<RecordQueryResult>& results) {
    return guarded([&] { return m_pImpl->query(condition, results, true); });
}

int RecordRetriever::deleteRecord(RecordInfo const& info) {
    return guarded([&] { return m_pImpl->deleteRecord(info); });
}

int RecordRetriever::lockRecordFile(RecordInfo const& info) {
    return guarded([&] { return m_pImpl->lockRecordFile(info); });
}

int RecordRetriever::unlockRecordFile(RecordInfo const& info) {
    return guarded([&] { return m_pImpl->unlockRecordFile(info); });
}

int RecordRetriever::getRecordDirSpaceInfoList(std::vector<RecordDirSpaceInfo>& list) {
    return guarded([&] { return m_pImpl->getRecordDirSpaceInfoList(list); });
}

int RecordRetriever::getMatchRecordDateList(RecordInfo const& info, std::set<std::string>& dates) {
    return guarded([&] { return m_pImpl->getMatchRecordDateList(info, dates); });
}

int RecordRetriever::getMatchRecordDateList(std::vector<RecordInfo> const& infos,
                                            std::set<std::string>& dates) {
    return guarded([&] { return m_pImpl->getMatchRecordDateList(infos, dates); });
}

int RecordRetriever::getDeviceList(std::string const& date, std::vector<RecordInfo>& devices) {
    return guarded([&] { return m_pImpl->getDeviceList(date, devices); });
}

int RecordRetriever::getRecordSummaryInfo(RecordSummaryInfo& summary) {
    return guarded([&] { return m_pImpl->getRecordSummaryInfo(summary); });
}

int RecordRetriever::getLastRecordTime(RecordInfo const& info, unsigned long& nTime) {
    return guarded([&] { return m_pImpl->getLastRecordTime(info, nTime); });
}

int RecordRetriever::getHistoryDeviceList(std::vector<RecordInfo>& devices) {
    return guarded([&] { return m_pImpl->getHistoryDeviceList(devices); });
}

int RecordRetriever::clearDeviceRecord(std::string const& deviceId) {
    return guarded([&] { return m_pImpl->clearDeviceRecord(deviceId); });
}
