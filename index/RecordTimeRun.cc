#include "index/RecordTimeRun.h"

#include "retrieval/SingleDeviceRecordQuery.h"

void RecordTimeRun::handle(std::vector<RecordTimeRun> const& runs, SingleDeviceRecordQuery* query) {
    if (query == nullptr) return;
    RecordTimeRun const* const end = runs.data() + runs.size();
    for (RecordTimeRun const* entry = runs.data(); entry != end;) {
        RecordTimeRun const* next = entry + 1;
        while (next != end && !next->bEntry) ++next;
        query->updataVideoEncoderType(entry->nEncoderType);
        handleEntry(entry, next, query);
        entry = next;
    }
}

void RecordTimeRun::handleEntry(RecordTimeRun const* first, RecordTimeRun const* last,
                                SingleDeviceRecordQuery* query) {
    if (first == last) return;
    long long const precision = query->getQueryTimePrecision();
    long long segmentBegin = first->nBegin;
    long long segmentEnd = first->nEnd;
    bool locked = first->bLocked;
    bool alarm = first->bAlarm;
    for (RecordTimeRun const* run = first + 1; run != last; ++run) {
        if (run->nSplit > precision || run->bLocked != locked || run->bAlarm != alarm) {
            long long const hole = run->nBegin - segmentEnd;
            if (hole >= 1 && hole <= precision) segmentEnd = run->nBegin;
            query->handle(segmentBegin, segmentEnd, 0, locked, alarm);
            segmentBegin = run->nBegin;
            locked = run->bLocked;
            alarm = run->bAlarm;
        }
        segmentEnd = run->nEnd;
    }
    query->handle(segmentBegin, segmentEnd, 0, locked, alarm);
}
