// Recording throughput: N channels of the shipped 720p stream pushed through
// frame queue, session, record writer and index into record files on a real
// folder as fast as the machine can, beside dd writing the same folder.
//
// The folder is $RECSTORE_BENCH_DIR, else $TMPDIR, else /tmp. The dd run
// writes RECSTORE_BENCH_DD_MIB MiB (default 512).
#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "disk/RecordDiskManagerImpl.h"
#include "host/DiskManager.h"
#include "host/DiskManagerFactory.h"
#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "host/sy_system.h"
#include "recording/RecordStorage.h"
#include "recording/TSFrameQueue.h"
#include "tests/support/TestStreams.h"

namespace {

std::string benchFolder() {
    char const* dir = std::getenv("RECSTORE_BENCH_DIR");
    if (dir == nullptr || *dir == '\0') dir = std::getenv("TMPDIR");
    std::string base = (dir == nullptr || *dir == '\0') ? "/tmp" : dir;
    return base + "/recstore-bench-" + std::to_string(getpid());
}

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

std::vector<AVData> const& hdFrames() {
    static std::vector<AVData> const frames =
        TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/hd25_gop25_10s.h264");
    return frames;
}

void removeFolder(std::string const& folder) {
    static_cast<DiskManager*>(DiskManagerFactory::getDiskManager(1, 0))->deleteFile(folder.c_str(), true);
}

void BM_RecordChannels(benchmark::State& state) {
    int const channels = static_cast<int>(state.range(0));
    std::vector<AVData> frames = hdFrames();
    if (frames.empty()) {
        state.SkipWithError("hd25_gop25_10s.h264 not found");
        return;
    }
    std::string const folder = benchFolder();
    HostPaths::setRoot(folder + "/root");
    RecordDirInfoEx dir;
    dir.setRecordRootDir(folder + "/disk");
    dir.setRecordDiskName("disk");
    dir.setFileSegmentSize(64LL << 20);
    DiskManagerFactory::getDiskManager(1, 0)->createDir(dir.getRecordRootDir().c_str());
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({dir});

    struct Channel {
        std::unique_ptr<TSFrameQueue> queue;
        RecordStorage storage;
    };
    std::vector<std::unique_ptr<Channel>> open;
    for (int c = 0; c < channels; ++c) {
        std::unique_ptr<Channel> channel(new Channel());
        channel->queue.reset(new TSFrameQueue(4 << 20));
        RecordInfo info;
        info.setDeviceId("NVR");
        info.setDeviceIP("192.168.1.10");
        info.setCameraId(c + 1);
        channel->storage.open(info, false);
        channel->storage.setTSFrameQueue(channel->queue.get());
        open.push_back(std::move(channel));
    }

    long long const span = frames.back().getTimeStamp() - frames.front().getTimeStamp() + 40000;
    long long offset = 0;
    long long written = 0;
    double cpu = 0;
    double wall = 0;
    for (auto _ : state) {
        double cpuBegin = cpuSeconds();
        auto wallBegin = std::chrono::steady_clock::now();
        for (AVData const& source : frames) {
            AVData frame = source;
            frame.setTimeStamp(source.getTimeStamp() + offset);
            for (std::unique_ptr<Channel>& channel : open) {
                channel->queue->pushAVData(&frame);
                TSAVData* block = nullptr;
                while (channel->queue->frontAVData(&block)) {
                    if (block != nullptr && channel->storage.write(0, block) == 0)
                        written += block->getDataLength();
                    block = nullptr;
                    channel->queue->popAVData();
                }
            }
        }
        offset += span;
        HostClock::shift(static_cast<double>(span) / 1e6);  // writers flush as in real time
        cpu += cpuSeconds() - cpuBegin;
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - wallBegin).count();
    }
    // Closing seals and syncs every file: it counts, as dd's final sync does.
    auto closeBegin = std::chrono::steady_clock::now();
    double cpuClose = cpuSeconds();
    for (std::unique_ptr<Channel>& channel : open) channel->storage.close();
    cpu += cpuSeconds() - cpuClose;
    wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - closeBegin).count();
    RecordDiskManagerImpl::getInstance()->clear();
    LastRecordFileInfoManager::getInstance()->clear();
    HostClock::reset();
    removeFolder(folder);

    state.SetBytesProcessed(written);
    double seconds = static_cast<double>(offset) / 1e6;  // stream seconds per channel
    state.counters["MB/s"] = written / 1e6 / wall;
    // CPU per channel for one second of stream, and what 64 channels of
    // 8 Mbit/s would take, scaled by bytes from the 4 Mbit/s stream.
    double cpuPerChannelSecond = cpu / (seconds * channels);
    double bitRate = written * 8.0 / (seconds * channels);
    state.counters["cpu_ms_per_channel_s"] = cpuPerChannelSecond * 1000;
    state.counters["cores_64ch_8Mbit"] = cpuPerChannelSecond * (8e6 / bitRate) * 64;
}
BENCHMARK(BM_RecordChannels)->Arg(1)->Arg(8)->Arg(64)->Unit(benchmark::kMillisecond)->UseRealTime();

// dd writing the same kind of folder, for scale.
void BM_DdSameFolder(benchmark::State& state) {
    char const* mib = std::getenv("RECSTORE_BENCH_DD_MIB");
    int count = (mib != nullptr && std::atoi(mib) > 0) ? std::atoi(mib) : 512;
    std::string const folder = benchFolder();
    DiskManagerFactory::getDiskManager(1, 0)->createDir(folder.c_str());
    std::string command = "dd if=/dev/zero of=" + folder + "/x bs=1M count=" + std::to_string(count) +
                          " conv=fdatasync 2>/dev/null";
    double wall = 0;
    for (auto _ : state) {
        auto begin = std::chrono::steady_clock::now();
        if (sy_system(command.c_str(), 600) != 0) state.SkipWithError("dd failed");
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }
    removeFolder(folder);
    long long bytes = static_cast<long long>(count) * 1048576 * state.iterations();
    state.SetBytesProcessed(bytes);
    state.counters["MB/s"] = bytes / 1e6 / wall;
}
BENCHMARK(BM_DdSameFolder)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

}  // namespace
