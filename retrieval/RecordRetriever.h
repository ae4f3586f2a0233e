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
    int open(RecordInfo const& info, bool bIFrameOnly) override;
    int read(char* buffer, int nLength) override;
    int locateTime(unsigned long nTime) override;
    int locateNextIFrame() override;
    int locatePreIFrame() override;
    int locatePreIFrame(unsigned long nTime) override;
    int close() override;
    // Files of FTP disks are not read yet: -766.
    int openFtpRecord(char const* fileName) override;

    // ---- queries ----
    // Replaces the process-wide directory list; only enabled directories
    // are kept.
    static int setRecordDirList(std::vector<RecordDirInfo> const& list);
    int query(RecordQueryCondition const& condition, std::vector<RecordQueryResult>& results);
    int queryRecordWithDataLen(RecordQueryCondition const& condition,
                               std::vector<RecordQueryResult>& results);
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

    std::unique_ptr<RecordRetrieverImpl> m_pImpl;
    int m_nMode = kModeIndexed;
};

#endif
