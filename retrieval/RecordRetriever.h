#ifndef RETRIEVAL_RECORDRETRIEVER_H
#define RETRIEVAL_RECORDRETRIEVER_H

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/RecordDirInfo.h"
#include "foundation/RecordDirSpaceInfo.h"
#include "foundation/RecordQuery.h"
#include "retrieval/IRecordRetriever.h"

class RecordRetrieverImpl;
class RecordRetrieverWithoutIndexImpl;

// The read side of the engine for the host: time queries, date and device
// lists, deletion and locks (answered from every record directory of the
// process-wide list), and playback of one channel.
//
// Every operation turns an OVRuntimeError into -739 and a line in
// "RecordIOError". One object belongs to one thread at a time; any number
// may run at once.
class RecordRetriever : public IRecordRetriever {
public:
    RecordRetriever();
    ~RecordRetriever() override;
    RecordRetriever(RecordRetriever const&) = delete;
    RecordRetriever& operator=(RecordRetriever const&) = delete;

    // ---- playback ----
    // open plays a time window from the indexed disks, openFtpRecord one
    // file of an FTP disk by its name; each closes what the other opened.
    // While an FTP file is open, read reads it and the locate calls answer 0.
    int open(RecordInfo const& info, bool bIFrameOnly) override;
    int read(char* buffer, int nLength) override;
    int locateTime(unsigned long nTime) override;
    int locateNextIFrame() override;
    int locatePreIFrame() override;
    int locatePreIFrame(unsigned long nTime) override;
    int close() override;
    // 0, or -747 when no FTP directory holds a file of that name.
    int openFtpRecord(char const* fileName) override;
    // Bytes the open FTP file holds now (it may still grow): 0, or -712
    // when none is open.
    int getFtpFileLength(long long& nLength);

    // ---- queries ----
    // Replaces the process-wide directory list; only enabled directories
    // are kept.
    static int setRecordDirList(std::vector<RecordDirInfo> const& list);
    int query(RecordQueryCondition const& condition, std::vector<RecordQueryResult>& results);
    int queryRecordWithDataLen(RecordQueryCondition const& condition,
                               std::vector<RecordQueryResult>& results);
    // The files of FTP disks that hold time of the window, by begin time;
    // 0, or -708 without an FTP directory.
    int queryFtpRecord(RecordQueryCondition const& condition, std::vector<RecordFileEx>& files);
    int deleteRecord(RecordInfo const& info);
    int lockRecordFile(RecordInfo const& info);
    int unlockRecordFile(RecordInfo const& info);
    int getRecordDirSpaceInfoList(std::vector<RecordDirSpaceInfo>& list);
    int getMatchRecordDateList(RecordInfo const& info, std::set<std::string>& dates);
    int getMatchRecordDateList(std::vector<RecordInfo> const& infos, std::set<std::string>& dates);
    int getDeviceList(std::string const& date, std::vector<RecordInfo>& devices);
    int getRecordSummaryInfo(RecordSummaryInfo& summary);
    int getLastRecordTime(RecordInfo const& info, unsigned long& nTime);
    int getHistoryDeviceList(std::vector<RecordInfo>& devices);
    int clearDeviceRecord(std::string const& deviceId);

private:
    static constexpr int kModeIndexed = 1;
    static constexpr int kModeFtp = 2;

    std::unique_ptr<RecordRetrieverImpl> m_pImpl;
    std::unique_ptr<RecordRetrieverWithoutIndexImpl> m_pFtpImpl;
    int m_nMode = kModeIndexed;
};

#endif
