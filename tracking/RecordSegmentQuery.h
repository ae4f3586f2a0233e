#ifndef TRACKING_RECORDSEGMENTQUERY_H
#define TRACKING_RECORDSEGMENTQUERY_H

#include <string>

#include "foundation/RecordDirInfoEx.h"

class SingleDeviceRecordQuery;

// A time query's way into the segment table: 1 when the table answered
// into the query, 0 when the index must be read.
class RecordSegmentQuery {
public:
    static int query(std::string const& deviceKey, std::string const& date, RecordDirInfoEx const& dir,
                     SingleDeviceRecordQuery& out);
};

#endif
