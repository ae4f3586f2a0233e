#include "foundation/ReturnCode.h"
#include "retrieval/RecordRetrieverImpl.h"

RecordRetrieverImpl::RecordRetrieverImpl() = default;
RecordRetrieverImpl::~RecordRetrieverImpl() { close(); }

int RecordRetrieverImpl::query(RecordQueryCondition const&, std::vector<RecordQueryResult>&, bool) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::deleteRecord(RecordInfo const&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::lockRecordFile(RecordInfo const&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::unlockRecordFile(RecordInfo const&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::getRecordDirSpaceInfoList(std::vector<RecordDirSpaceInfo>&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::getMatchRecordDateList(RecordInfo const&, std::set<std::string>&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::getMatchRecordDateList(std::vector<RecordInfo> const&, std::set<std::string>&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::getDeviceList(std::string const&, std::vector<RecordInfo>&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::getRecordSummaryInfo(RecordSummaryInfo&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::getLastRecordTime(RecordInfo const&, unsigned long&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::getHistoryDeviceList(std::vector<RecordInfo>&) { return OV_RECORD_NO_DIR; }
int RecordRetrieverImpl::clearDeviceRecord(std::string const&) { return OV_RECORD_NO_DIR; }
