// Playback: reading a recording as one stream beside plain 1 MiB reads of
// the same files, and the cost of a seek over a full day's index.
//
// The record files and index entries are laid out directly (the reader does
// not look inside TS data): 8 files of 32 MiB for the read, and for the seeks
// a day of 144 entries of 600 one-second items over sparse record files.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "foundation/RecordDirInfoEx.h"
#include "host/FileFactory.h"
#include "host/HostPaths.h"
#include "index/RecordIndexFileParserEx.h"
#include "retrieval/RecordRetriever.h"
#include "tests/index/RecordIndexImageBuilder.h"

namespace {

char const* const kDate = "2024-01-31";
char const* const kDevice = "NVR_10.0.0.2_1";
constexpr long long kDayBegin = 1706659200LL;
constexpr int kReadFiles = 8;
constexpr int kItemsPerReadFile = 32;
constexpr int kPacketsPerReadItem = 5577;  // about 1 MiB every 2 s
constexpr int kDayEntries = 144;
constexpr int kItemsPerDayEntry = 600;
constexpr int kPacketsPerDayItem = 250;
constexpr int kMiB = 1 << 20;
constexpr long long kRecordingBytes = 188LL * kPacketsPerReadItem * kItemsPerReadFile * kReadFiles;

std::string fileName(int i) {
    char name[64];
    std::snprintf(name, sizeof(name), "%05d-NVR_10.0.0.2_1_%d.ts", i, i);
    return name;
}

RecordDirInfoEx dirOf(std::string const& root) {
    RecordDirInfoEx info;
    info.setRecordRootDir(root);
    info.setRecordDiskName("bench");
    info.setDiskType(1);
    info.setEnableFlag(true);
    return info;
}

bool writeWhole(std::string const& path, std::string const& bytes) {
    SafePointer<IFile> file = FileFactory::createFile(1, 0);
    if (!file->open(path.c_str(), IFile::kModeReadWrite)) return false;
    bool ok = file->write(bytes.data(), static_cast<int>(bytes.size())) == static_cast<int>(bytes.size());
    file->close();
    return ok;
}

// Folders made here go when the program ends.
struct Folders {
    std::vector<std::string> made;
    ~Folders() {
        for (std::string const& root : made) benchDisk()->deleteFile(root.c_str(), true);
    }
};
Folders& folders() {
    static Folders all;
    return all;
}

// A date folder holding an index of `entries` entries and their record
// files: written whole with a byte pattern, or sparse (one byte at the end).
std::string makeRoot(char const* name, int entries, int items, int step, int packets, bool sparse) {
    std::string root = benchFolder(name);
    std::string const dateDir = root + "/record/" + kDevice + "/" + kDate;
    if (benchDisk()->createDir(dateDir.c_str()) == 0) return "";
    folders().made.push_back(root);
    HostPaths::setRoot(root);  // logs
    RecordIndexImageBuilder builder;
    long long const fileLength = static_cast<long long>(items) * packets * 188;
    std::string pattern;
    for (int i = 0; i < entries; ++i) {
        builder.addEntry(fileName(i), kDayBegin + static_cast<long long>(items) * step * i,
                         RecordIndexImageBuilder::steadyItems(items, step, packets));
        std::string const path = dateDir + "/" + fileName(i);
        if (sparse) {
            SafePointer<IFile> file = FileFactory::createFile(1, 0);
            if (!file->open(path.c_str(), IFile::kModeReadWrite) || !file->seek(fileLength - 1, SEEK_SET) ||
                file->write("", 1) != 1) {
                return "";
            }
            file->close();
            continue;
        }
        pattern.assign(static_cast<size_t>(fileLength), static_cast<char>('a' + i));
        if (!writeWhole(path, pattern)) return "";
    }
    if (!writeWhole(RecordIndexFileParserEx::getIndexFileName(root, kDate, kDevice, 0),
                    builder.image(entries > 100 ? RecordIndexCodec::kMaxIndexFileSize
                                                : RecordIndexCodec::kFreshIndexFileSize,
                                  '\xFF'))) {
        return "";
    }
    return root;
}

std::string const& readRoot() {
    static std::string const root =
        makeRoot("playback-read", kReadFiles, kItemsPerReadFile, 2, kPacketsPerReadItem, false);
    return root;
}

std::string const& dayRoot() {
    static std::string const root = makeRoot("playback-day", kDayEntries, kItemsPerDayEntry, 1, kPacketsPerDayItem, true);
    return root;
}

int openDay(RecordRetriever& reader, std::string const& root) {
    RecordRetriever::setRecordDirList({RecordDirInfoEx::changeToRecordDirInfo(dirOf(root))});
    RecordInfo window;
    window.setDeviceId("NVR");
    window.setDeviceIP("10.0.0.2");
    window.setCameraId(1);
    window.setRecordBeginTime(static_cast<unsigned long>(kDayBegin));
    return reader.open(window, false);
}

// The whole recording through RecordRetriever, 1 MiB a read, after the open.
void BM_PlaybackRead(benchmark::State& state) {
    if (readRoot().empty()) return state.SkipWithError("no recording");
    std::vector<char> buffer(kMiB);
    long long total = 0;
    for (auto _ : state) {
        // The open reads and scans the day's index once: apart, so the
        // figure is the reading beside plain reads.
        state.PauseTiming();
        RecordRetriever reader;
        int opened = openDay(reader, readRoot());
        state.ResumeTiming();
        if (opened != 0) return state.SkipWithError("open failed");
        int got = 0;
        long long read = 0;
        while ((got = reader.read(buffer.data(), kMiB)) > 0) read += got;
        if (got != 0 || read != kRecordingBytes) return state.SkipWithError("not the whole recording");
        total += read;
    }
    state.SetBytesProcessed(total);
}
BENCHMARK(BM_PlaybackRead)->Apply(benchRounds);

// The same files with plain 1 MiB reads, as dd bs=1M would.
void BM_PlainRead(benchmark::State& state) {
    if (readRoot().empty()) return state.SkipWithError("no recording");
    std::vector<char> buffer(kMiB);
    long long total = 0;
    std::string const dateDir = readRoot() + "/record/" + kDevice + "/" + kDate + "/";
    for (auto _ : state) {
        for (int i = 0; i < kReadFiles; ++i) {
            SafePointer<IFile> file = FileFactory::createFileEx(1, 0, 1);
            if (!file->open((dateDir + fileName(i)).c_str(), IFile::kModeRead)) return state.SkipWithError("open");
            int got = 0;
            while ((got = file->read(buffer.data(), kMiB)) > 0) total += got;
            file->close();
        }
    }
    state.SetBytesProcessed(total);
}
BENCHMARK(BM_PlainRead)->Apply(benchRounds);

// The open of that recording: the day's index read and scanned, the first
// file found and opened.
void BM_PlaybackOpen(benchmark::State& state) {
    if (readRoot().empty()) return state.SkipWithError("no recording");
    for (auto _ : state) {
        RecordRetriever reader;
        if (openDay(reader, readRoot()) != 0) return state.SkipWithError("open failed");
    }
}
BENCHMARK(BM_PlaybackOpen)->Unit(benchmark::kMicrosecond);

// Latency of one call with the day's index loaded and every file met once:
// the mean per call as the time, the median as a counter.
template <typename Call>
void measureSeeks(benchmark::State& state, Call const& call) {
    std::vector<double> samples;
    for (auto _ : state) {
        auto const begin = std::chrono::steady_clock::now();
        int code = call(samples.size());
        auto const end = std::chrono::steady_clock::now();
        if (code != 0) return state.SkipWithError("seek failed");
        double const seconds = std::chrono::duration<double>(end - begin).count();
        state.SetIterationTime(seconds);
        samples.push_back(seconds * 1e6);
    }
    if (samples.empty()) return;
    std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
    state.counters["median_us"] = samples[samples.size() / 2];
}

// locateTime to times spread over the day, most in another file than the last.
void BM_LocateTimeOverDay(benchmark::State& state) {
    if (dayRoot().empty()) return state.SkipWithError("no day index");
    RecordRetriever reader;
    if (openDay(reader, dayRoot()) != 0) return state.SkipWithError("open failed");
    for (int i = 0; i < kDayEntries; ++i)
        if (reader.locateTime(static_cast<unsigned long>(kDayBegin + 600LL * i + 1)) != 0)
            return state.SkipWithError("warm-up failed");
    measureSeeks(state, [&](size_t n) {
        long long const at = kDayBegin + static_cast<long long>((n * 7919) % 86000);
        return reader.locateTime(static_cast<unsigned long>(at));
    });
}
BENCHMARK(BM_LocateTimeOverDay)->UseManualTime()->Unit(benchmark::kMicrosecond);

// locateNextIFrame through the day, across files at each entry's end.
void BM_LocateNextIFrameOverDay(benchmark::State& state) {
    if (dayRoot().empty()) return state.SkipWithError("no day index");
    RecordRetriever reader;
    if (openDay(reader, dayRoot()) != 0) return state.SkipWithError("open failed");
    measureSeeks(state, [&](size_t n) {
        if (n % (kDayEntries * kItemsPerDayEntry - 1) == 0 && reader.locateTime(static_cast<unsigned long>(kDayBegin)) != 0)
            return -1;
        return reader.locateNextIFrame();
    });
}
BENCHMARK(BM_LocateNextIFrameOverDay)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
