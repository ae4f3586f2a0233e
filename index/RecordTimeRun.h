#ifndef INDEX_RECORDTIMERUN_H
#define INDEX_RECORDTIMERUN_H

#include <vector>

class SingleDeviceRecordQuery;

// A stretch of one index entry's items that no query precision splits: the
// items follow each other without a gap and share their lock and alarm
// states. An entry's runs, with its encoder type, carry everything a time
// query takes from it, so a cached list answers a query exactly as the index
// would, at any precision. Times in seconds.
struct RecordTimeRun {
    long long nBegin = 0;
    long long nEnd = 0;
    // What a query compares with its precision to split before this run:
    // the stored interval minus the previous item's length (an absolute
    // offset for a long item, so that one always splits).
    int nSplit = 0;
    bool bLocked = false;
    bool bAlarm = false;
    // The first run of an entry; it carries the entry's encoder type.
    bool bEntry = false;
    int nEncoderType = 0;

    // Hands the runs to the query as the index walk does: per entry its
    // encoder type, then its segments at the query's precision.
    static void handle(std::vector<RecordTimeRun> const& runs, SingleDeviceRecordQuery* query);
    // The segments of one entry's runs [first, last).
    static void handleEntry(RecordTimeRun const* first, RecordTimeRun const* last,
                            SingleDeviceRecordQuery* query);
};

#endif
