// A search screen's day: the time segments of 64 channels for one day, from
// their index files on one disk (bench/DayIndex.h), through the retriever.

#include <benchmark/benchmark.h>

#include <vector>

#include "bench/DayIndex.h"
#include "retrieval/RecordRetriever.h"

namespace {

void BM_QueryDayOf64Channels(benchmark::State& state) {
    if (DayIndex::dayIndexRoot().empty()) return state.SkipWithError("no index files");
    RecordDirInfo dir;
    dir.setDiskName(DayIndex::dayIndexRoot().c_str());
    dir.setDiskType(1);
    dir.setAttribute(1);
    dir.setEnableFlag(true);
    RecordRetriever::setRecordDirList({dir});
    RecordQueryCondition condition;
    condition.setDeviceId("NVR");
    condition.setCameraId(-1);
    condition.setRecordBeginTime(DayIndex::kDayBegin);
    condition.setRecordEndTime(DayIndex::kDayBegin + 86399);
    RecordRetriever retriever;
    for (auto _ : state) {
        std::vector<RecordQueryResult> results;
        if (retriever.query(condition, results) != 0 || results.size() != DayIndex::kChannels ||
            results.back().getRecordTimeSegmentList().size() != 1) {
            return state.SkipWithError("day not whole");
        }
    }
    RecordRetriever::setRecordDirList({});
}
BENCHMARK(BM_QueryDayOf64Channels)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
