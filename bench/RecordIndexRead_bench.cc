// Reading a full day's index: one channel, 24 hours of one-second items in
// 144 entries of ten minutes, in a 1 MiB index file. Measures the open (one
// read of the whole file), the entry scan and the query walks, as a player
// and a search screen run them.

#include <benchmark/benchmark.h>

#include <stdlib.h>

#include <cstdio>
#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "host/HostPaths.h"
#include "index/RecordIndexCache.h"
#include "index/RecordIndexFileParserEx.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tests/index/RecordIndexImageBuilder.h"

namespace {

char const* const kDate = "2024-01-31";
char const* const kDevice = "NVR_10.0.0.2_1";
constexpr long long kDayBegin = 1706659200LL;
constexpr int kEntries = 144;
constexpr int kItemsPerEntry = 600;

// Writes the day's index once, into a folder of its own, and answers its root.
std::string const& dayIndexRoot() {
    static std::string root;
    if (!root.empty()) return root;
    char folder[] = "/tmp/record_index_bench.XXXXXX";
    if (mkdtemp(folder) == nullptr) return root;
    HostPaths::setRoot(folder);  // logs
    RecordIndexImageBuilder builder;
    for (int i = 0; i < kEntries; ++i) {
        char name[64];
        std::snprintf(name, sizeof(name), "%05d-NVR_10.0.0.2_1_%d.ts", i, i);
        builder.addEntry(name, kDayBegin + 600LL * i,
                         RecordIndexImageBuilder::steadyItems(kItemsPerEntry, 1, 250));
    }
    std::string image = builder.image(RecordIndexCodec::kMaxIndexFileSize, '\0');
    std::string path = RecordIndexFileParserEx::getIndexFileName(folder, kDate, kDevice, 0);
    std::string dir = path.substr(0, path.rfind('/'));
    std::string command = "mkdir -p '" + dir + "'";
    if (std::system(command.c_str()) != 0) return root;
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return root;
    bool ok = std::fwrite(image.data(), 1, image.size(), file) == image.size();
    if (std::fclose(file) == 0 && ok) root = folder;
    return root;
}

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
