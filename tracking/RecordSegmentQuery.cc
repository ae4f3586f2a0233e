#include "tracking/RecordSegmentQuery.h"

#include "tracking/RecordSegmentInfoManager.h"

int RecordSegmentQuery::query(std::string const& deviceKey, std::string const& date, RecordDirInfoEx const& dir,
                              SingleDeviceRecordQuery& out) {
    return RecordSegmentInfoManager::getInstance()->query(deviceKey, date, dir,
                                                          RecordSegmentInfoManager::kMainIndex, out);
}
