// Packing throughput of a channel's frame queue: push plus front/pop of the
// shipped 720p stream (hd25_gop25_10s.h264), every frame packed once straight
// into the ring. Bytes are elementary stream bytes stored; "refused" counts
// frames the queue did not take, which would make the rate meaningless.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "recording/TSFrameQueue.h"
#include "tests/support/TestStreams.h"

namespace {

std::vector<AVData> const& hdFrames() {
    static std::vector<AVData> const frames =
        TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/hd25_gop25_10s.h264");
    return frames;
}

void BM_TSFrameQueuePushFrontPop(benchmark::State& state) {
    std::vector<AVData> frames = hdFrames();
    if (frames.empty()) {
        state.SkipWithError("hd25_gop25_10s.h264 not found");
        return;
    }
    long long const span = frames.back().getTimeStamp() - frames.front().getTimeStamp() + 40000;
    long long bytes = 0;
    long long offset = 0;
    long long refused = 0;
    TSFrameQueue queue(8 * 1024 * 1024);
    for (auto _ : state) {
        for (AVData& frame : frames) {
            frame.setTimeStamp(frame.getTimeStamp() + offset);
            if (queue.pushAVData(&frame) == 0)
                bytes += frame.getDataLength();
            else
                ++refused;
            frame.setTimeStamp(frame.getTimeStamp() - offset);
            TSAVData* block = nullptr;
            while (queue.frontAVData(&block)) {
                if (block != nullptr) benchmark::DoNotOptimize(block->getData()[0]);
                queue.popAVData();
                block = nullptr;
            }
        }
        offset += span;  // the next round continues the time line
    }
    state.SetBytesProcessed(bytes);
    state.counters["refused"] = static_cast<double>(refused);
    state.counters["frames/s"] =
        benchmark::Counter(static_cast<double>(frames.size()) * state.iterations(), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_TSFrameQueuePushFrontPop)->Unit(benchmark::kMillisecond);

}  // namespace
