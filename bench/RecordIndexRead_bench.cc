// Reading a full day's index of one channel (bench/DayIndex.h). Measures
// the open (one read of the whole file), the entry scan and the query walks,
// as a player and a search screen run them.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "index/RecordIndexCache.h"
#include "index/RecordIndexFileParserEx.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "bench/DayIndex.h"

namespace {

using namespace DayIndex;

char const* const kDevice = "NVR_10.0.0.2_1";

RecordDirInfoEx dirInfo() {
    RecordDirInfoEx info;
    info.setRecordRootDir(dayIndexRoot());
    info.setDiskType(1);
    return info;
}

void query(RecordIndexFileParserEx& parser, bool withData, benchmark::State& state) {
    RecordQueryCondition condition;
    condition.setRecordQueryTimePrecision(3);
    RecordQueryResult result;
    SingleDeviceRecordQuery single(result, condition);
    single.setDate(kDate);
    parser.queryRecordSegmentList(&single, withData);
    single.clear();
    if (result.getRecordTimeSegmentList().size() != 1) state.SkipWithError("day not whole");
}

// Open (one read of 1 MiB), scan and one query walk: what a search costs.
void BM_OpenAndQueryDay(benchmark::State& state) {
    if (dayIndexRoot().empty()) return state.SkipWithError("no index file");
    RecordDirInfoEx info = dirInfo();
    for (auto _ : state) {
        RecordIndexFileParserEx parser;
        if (parser.open(info, kDate, kDevice, 0, 0) != 1) return state.SkipWithError("open failed");
        query(parser, false, state);
    }
    state.SetItemsProcessed(state.iterations() * kEntries * kItemsPerEntry);
}
BENCHMARK(BM_OpenAndQueryDay)->Unit(benchmark::kMillisecond);

// The walk alone over an open image, entry scan included.
void BM_WalkDay(benchmark::State& state) {
    if (dayIndexRoot().empty()) return state.SkipWithError("no index file");
    RecordIndexFileParserEx parser;
    if (parser.open(dirInfo(), kDate, kDevice, 0, 0) != 1) return state.SkipWithError("open failed");
    bool withData = state.range(0) != 0;
    for (auto _ : state) {
        parser.getParser().setInitIndexPosInfoFlag();
        query(parser, withData, state);
    }
    state.SetItemsProcessed(state.iterations() * kEntries * kItemsPerEntry);
}
BENCHMARK(BM_WalkDay)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Seek points of every entry, as playback loads them.
void BM_SeekPointsOfDay(benchmark::State& state) {
    if (dayIndexRoot().empty()) return state.SkipWithError("no index file");
    RecordIndexFileParserEx parser;
    if (parser.open(dirInfo(), kDate, kDevice, 0, 0) != 1) return state.SkipWithError("open failed");
    if (parser.getParser().getFileNumber() != kEntries) return state.SkipWithError("entries missing");
    RecordIndexCache cache;
    for (auto _ : state) {
        for (int i = 0; i < kEntries; ++i) {
            char name[64];
            std::snprintf(name, sizeof(name), "%05d-NVR_10.0.0.2_1_%d.ts", i, i);
            int begin = 0, headEnd = 0, end = 0;
            parser.getParser().getIndexPosByFileName(name, begin, headEnd, end);
            cache.clear();
            parser.getParser().getRecordFileIndexList(begin, headEnd, end, cache, true);
        }
        benchmark::DoNotOptimize(cache.getSize());
    }
}
BENCHMARK(BM_SeekPointsOfDay)->Unit(benchmark::kMillisecond);

}  // namespace
