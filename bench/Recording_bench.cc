// Recording throughput: N channels of a shipped stream (720p 4 Mbit/s, or
// 1080p 8 Mbit/s) pushed through frame queue, session, record writer and
// index into record files on a real folder as fast as the machine can. Each
// case then runs dd with fdatasync on the same folder, writing as many bytes
// as the channels did, and reports the recording's bandwidth as a share of
// dd's (dd_ratio): a disk with a cache of its own gives small runs
// bandwidths that big ones never see. Arguments: channels, stream
// (0 720p, 1 1080p), disk (1 local disk, 6 a share without cache, played on
// the local folder: index written with every block).
//
// The folder is $RECSTORE_BENCH_DIR, else $TMPDIR, else /tmp.
// RECSTORE_BENCH_DD_MIB fixes the MiB of every dd run (BM_DdSameFolder: 512). RECSTORE_BENCH_ITERATIONS
// fixes the number of 10 s rounds of stream (default 12: every channel flushes
// twice); the record directory claims room for that many rounds and no more.
#include <benchmark/benchmark.h>

#include "bench/BenchSupport.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "disk/RecordDiskManager.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskManager.h"
#include "host/DiskManagerFactory.h"
#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "host/sy_system.h"
#include "recording/RecordStorage.h"
#include "recording/TSFrameQueue.h"
#include "tests/support/TestStreams.h"

namespace {

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

constexpr int kDefaultRounds = 12;

char const* const kStreams[] = {"hd25_gop25_10s.h264", "fhd25_gop50_10s.h264"};

std::vector<AVData> const& streamFrames(int stream) {
    static std::vector<AVData> frames[2];
    if (frames[stream].empty())
        frames[stream] = TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/" + kStreams[stream]);
    return frames[stream];
}

void removeFolder(std::string const& folder) {
    static_cast<DiskManager*>(DiskManagerFactory::getDiskManager(1, 0))->deleteFile(folder.c_str(), true);
}

int envInt(char const* name, int fallback) {
    char const* value = std::getenv(name);
    return (value != nullptr && std::atoi(value) > 0) ? std::atoi(value) : fallback;
}

// MB/s of dd writing `count` MiB (RECSTORE_BENCH_DD_MIB if set) with a
// final fdatasync into the bench folder; negative on failure.
double ddBandwidth(int count) {
    count = envInt("RECSTORE_BENCH_DD_MIB", count < 1 ? 1 : count);
    std::string const folder = benchFolder("bench") + "-dd";
    DiskManagerFactory::getDiskManager(1, 0)->createDir(folder.c_str());
    std::string command = "dd if=/dev/zero of=" + folder + "/x bs=1M count=" + std::to_string(count) +
                          " conv=fdatasync 2>/dev/null";
    auto begin = std::chrono::steady_clock::now();
    bool ok = sy_system(command.c_str(), 600) == 0;
    double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    removeFolder(folder);
    return ok ? count * 1048576.0 / 1e6 / wall : -1;
}

void BM_RecordChannels(benchmark::State& state) {
    int const channels = static_cast<int>(state.range(0));
    int const stream = static_cast<int>(state.range(1));
    bool const shareWithoutCache = state.range(2) == 6;
    std::vector<AVData> frames = streamFrames(stream);
    if (frames.empty()) {
        state.SkipWithError("test stream not found");
        return;
    }
    std::string const folder = benchFolder("bench");
    HostPaths::setRoot(folder + "/root");
    // One disk takes every channel here; its writer limit would cut 64 to 16.
    DiskManagerFactory::getDiskManager(1, 0)->createDir(HostPaths::getConfigDir().c_str());
    std::ofstream(StorageParameterManage::getInstance()->getConfigFileName())
        << "DiskReferenceCountLimit=" << channels << "\n";
    StorageParameterManage::getInstance()->initStorageParameter();
    RecordDirInfoEx dir;
    dir.setRecordRootDir(folder + "/disk");
    dir.setRecordDiskName("disk");
    // The indexed directory preallocates its pool: room for the rounds'
    // bytes of every channel (1 MB per stream second at most), never less
    // than the ten files per channel that buy it an index file.
    constexpr long long kSegment = 16LL << 20;
    long long const rounds = envInt("RECSTORE_BENCH_ITERATIONS", kDefaultRounds);
    long long const perChannel = std::max(10LL, rounds * 10 * 1000000 / kSegment + 2);
    dir.setFileSegmentSize(kSegment);
    dir.setEnableFlag(true);
    dir.setUseableSpace(channels * perChannel * kSegment * 100 / 95 + kSegment);
    if (shareWithoutCache) {
        dir.setDiskType(4);
        dir.setFileSystemFormat(6);
    }
    DiskManagerFactory::getDiskManager(1, 0)->createDir(dir.getRecordRootDir().c_str());
    RecordDiskManager::start();
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({dir});
    RecordDiskManagerImpl::getInstance()->setDirPolicyThread();
    SafePointer<IRecordDir> served = RecordDiskManagerImpl::getInstance()->getRecordDir(dir.getRecordRootDir());
    auto const until = std::chrono::steady_clock::now() + std::chrono::minutes(5);
    while (!served.isNull() && !served->isWritable() && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (served.isNull() || !served->isWritable()) {
        RecordDiskManager::stop();
        removeFolder(folder);
        state.SkipWithError("record directory not ready");
        return;
    }

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
        RecordDeviceInfo device;
        device.setDeviceId("NVR");
        device.setDeviceIP("192.168.1.10");
        device.setCameraId(c + 1);
        device.setRecordMode(1);  // as a session names its files
        RecordDiskManager::setRecordDevicePolicy(device, 1, true, 0, false);
        channel->storage.open(info, false);
        channel->storage.setTSFrameQueue(channel->queue.get());
        open.push_back(std::move(channel));
    }
    RecordDiskManagerImpl::getInstance()->setDirPolicyThread();

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
    RecordDiskManager::stop();
    LastRecordFileInfoManager::getInstance()->clear();
    StorageParameterManage::getInstance()->resetStorageParameter();
    HostClock::reset();
    removeFolder(folder);
    double const dd = ddBandwidth(static_cast<int>(written >> 20));

    state.SetBytesProcessed(written);
    double seconds = static_cast<double>(offset) / 1e6;  // stream seconds per channel
    state.counters["MB/s"] = written / 1e6 / wall;
    state.counters["dd_MB/s"] = dd;
    state.counters["dd_ratio"] = dd > 0 ? written / 1e6 / wall / dd : 0;
    // CPU per channel for one second of stream, and what 64 channels of
    // 8 Mbit/s would take, scaled by the stream's bytes.
    double cpuPerChannelSecond = cpu / (seconds * channels);
    double bitRate = written * 8.0 / (seconds * channels);
    state.counters["cpu_ms_per_channel_s"] = cpuPerChannelSecond * 1000;
    state.counters["cores_64ch_8Mbit"] = cpuPerChannelSecond * (8e6 / bitRate) * 64;
}
void recordingCases(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"channels", "stream", "disk"});
    for (int channels : {1, 8, 64}) bench->Args({channels, 0, 1});
    bench->Args({64, 1, 1});
    bench->Args({64, 0, 6});
    bench->Unit(benchmark::kMillisecond)->UseRealTime();
    // Fixed rounds: the directory's pool is sized for them.
    bench->Iterations(envInt("RECSTORE_BENCH_ITERATIONS", kDefaultRounds));
}
BENCHMARK(BM_RecordChannels)->Apply(recordingCases);

// dd writing the same kind of folder, for scale.
void BM_DdSameFolder(benchmark::State& state) {
    double bandwidth = 0;
    for (auto _ : state) {
        bandwidth = ddBandwidth(512);
        if (bandwidth < 0) state.SkipWithError("dd failed");
    }
    state.counters["MB/s"] = bandwidth;
}
BENCHMARK(BM_DdSameFolder)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

}  // namespace
