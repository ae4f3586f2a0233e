// A search screen's day: the time segments of 64 channels for one day on one
// disk (bench/DayIndex.h), through the retriever: read from the index files,
// and answered by the segment table.

#include <benchmark/benchmark.h>

#include <vector>

#include "bench/DayIndex.h"
#include "retrieval/RecordRetriever.h"
#include "tracking/RecordSegmentInfoManager.h"

namespace {

void queryDay(benchmark::State& state, bool fromTable) {
    if (DayIndex::dayIndexRoot().empty()) return state.SkipWithError("no index files");
    RecordSegmentInfoManager::getInstance()->clear();
    RecordDirInfo dir;
    dir.setDiskName(DayIndex::dayIndexRoot().c_str());
    dir.setDiskType(1);
    dir.setAttribute(1);
    dir.setEnableFlag(true);
    RecordRetriever::setRecordDirList({dir});
    if (fromTable) RecordSegmentInfoManager::getInstance()->handleRecordSegmentInfo();
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
    RecordSegmentInfoManager::getInstance()->clear();
}

void BM_QueryDayOf64Channels(benchmark::State& state) { queryDay(state, false); }
BENCHMARK(BM_QueryDayOf64Channels)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_QueryDayOf64ChannelsFromTable(benchmark::State& state) { queryDay(state, true); }
BENCHMARK(BM_QueryDayOf64ChannelsFromTable)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
