// A recorder host in miniature, using only what the engine exports: it
// records one camera's H.264 stream onto one disk folder through a frame
// queue and a recording session, finds the recording by a time query and
// reads it back as one TS stream.
//
//   example_host WORK_FOLDER STREAM.h264 OUT.ts
//
// Everything the engine writes (disk, configuration, logs) goes under
// WORK_FOLDER. Exit status 0 when the stream was recorded and read back.

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "disk/RecordDiskManager.h"
#include "foundation/StorageParameterManage.h"
#include "host/HostPaths.h"
#include "recording/RecordStorage.h"
#include "recording/TSFrameQueue.h"
#include "retrieval/RecordRetriever.h"

namespace {

constexpr int kCamera = 1;
constexpr long long kFrameStep = 40000;  // microseconds: 25 frames a second

int fail(std::string const& why) {
    std::fprintf(stderr, "example_host: %s\n", why.c_str());
    return 1;
}

// A camera's frames: the stream cut at each picture's first NAL unit (an
// access unit delimiter, parameter sets or a slice beginning a picture).
std::vector<AVData> readFrames(std::string const& path, long long firstTime) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> const s((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<AVData> frames;
    size_t begin = 0;
    bool hasSlice = false;
    bool idr = false;
    auto close = [&](size_t end) {
        AVData frame;
        frame.setData(s.data() + begin, static_cast<unsigned int>(end - begin));
        frame.setESStreamType(1);
        frame.setFrameType(idr ? 1 : 2);
        frame.setEncoderType(1);  // H.264
        frame.setImageWidth(640);
        frame.setImageHeight(360);
        frame.setFrameRate(25);
        frame.setTimeStamp(firstTime + kFrameStep * static_cast<long long>(frames.size()));
        frames.push_back(frame);
    };
    for (size_t i = 0; i + 4 < s.size(); ++i) {
        if (s[i] != 0 || s[i + 1] != 0 || s[i + 2] != 1) continue;
        size_t const start = i > 0 && s[i - 1] == 0 ? i - 1 : i;
        int const type = s[i + 3] & 0x1F;
        bool const slice = type == 1 || type == 5;
        bool const opens = (type >= 6 && type <= 9) || (slice && (static_cast<unsigned char>(s[i + 4]) & 0x80));
        if (hasSlice && opens) {
            close(start);
            begin = start;
            hasSlice = idr = false;
        }
        hasSlice = hasSlice || slice;
        idr = idr || type == 5;
    }
    if (hasSlice) close(s.size());
    return frames;
}

// The host's recording loop: every block the queue has ready goes to the session.
int drain(TSFrameQueue& queue, RecordStorage& storage) {
    int failures = 0;
    TSAVData* block = nullptr;
    while (queue.frontAVData(&block)) {
        if (block != nullptr && storage.write(0, block) != 0) ++failures;
        block = nullptr;
        queue.popAVData();
    }
    return failures;
}

bool waitForDisk(std::string const& root) {
    for (int i = 0; i < 300; ++i) {
        std::vector<RecordDirInfo> dirs;
        RecordDiskManager::getRecordDirInfoList(dirs);
        for (RecordDirInfo const& dir : dirs) {
            if (root == dir.getDiskName() && dir.getStatus() == 1) return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return fail("usage: example_host WORK_FOLDER STREAM.h264 OUT.ts");
    std::string const work = argv[1];
    HostPaths::setRoot(work);
    // Small record files, so that a small disk holds several of them.
    std::string const config = HostPaths::getConfigDir();
    std::system(("mkdir -p '" + config + "' '" + work + "/disk1'").c_str());
    std::ofstream(config + "/storageparam.ini") << "RecordFileSegmentSize=8\n";
    StorageParameterManage::getInstance()->initStorageParameter();

    RecordDirInfo disk;
    std::string const root = work + "/disk1";
    disk.setDiskName(root.c_str());
    disk.setDiskType(1);
    disk.setGroupId(1);
    disk.setAttribute(1);
    disk.setUsableSpace(64);  // MiB
    disk.setEnableFlag(true);
    RecordDiskManager::start();
    RecordDiskManager::setRecordDirInfoList({disk});
    RecordDeviceInfo camera;
    camera.setDeviceId("NVR");
    camera.setDeviceIP("192.168.1.10");
    camera.setCameraId(kCamera);
    camera.setRecordMode(1);
    RecordDiskManager::setRecordDevicePolicy(camera, 1, true, 0, false);
    if (!waitForDisk(root)) return fail("the disk did not become ready: " + root);

    long long const now = static_cast<long long>(std::time(nullptr));
    std::vector<AVData> const frames = readFrames(argv[2], now * 1000000);
    if (frames.empty()) return fail(std::string("no frames in ") + argv[2]);
    TSFrameQueue queue(FrameQueueSizeManager::getFrameQueueSize(1));
    queue.setDeviceInfo("NVR", kCamera);
    RecordStorage storage;
    RecordInfo channel;
    channel.setDeviceId("NVR");
    channel.setDeviceIP("192.168.1.10");
    channel.setCameraId(kCamera);
    if (storage.open(channel, false) != 0) return fail("the session did not open");
    storage.setTSFrameQueue(&queue);
    int failures = 0;
    for (AVData const& frame : frames) {
        queue.pushAVData(&frame);
        failures += drain(queue, storage);
    }
    AVData closing = frames.front();  // an I frame ends the last group
    closing.setTimeStamp(frames.back().getTimeStamp() + kFrameStep);
    queue.pushAVData(&closing);
    failures += drain(queue, storage);
    storage.close();
    if (failures != 0) return fail(std::to_string(failures) + " block(s) could not be written");

    RecordRetriever::setRecordDirList({disk});
    RecordRetriever retriever;
    RecordQueryCondition condition;
    condition.setDeviceId("NVR");
    condition.setDeviceIP("192.168.1.10");
    condition.setCameraId(kCamera);
    condition.setRecordBeginTime(static_cast<unsigned long>(now - 60));
    condition.setRecordEndTime(static_cast<unsigned long>(now + 3600));
    std::vector<RecordQueryResult> results;
    if (retriever.query(condition, results) != 0 || results.empty() ||
        results[0].getRecordTimeSegmentList().empty()) {
        return fail("the recording was not found by a query");
    }
    RecordTimeSegment const& segment = results[0].getRecordTimeSegmentList().front();
    std::printf("recorded %lu to %lu (%lu s)\n", segment.getRecordBeginTime(), segment.getRecordEndTime(),
                segment.getRecordEndTime() - segment.getRecordBeginTime());

    RecordInfo window = channel;
    window.setRecordBeginTime(segment.getRecordBeginTime());
    window.setRecordEndTime(segment.getRecordEndTime());
    if (retriever.open(window, false) != 0) return fail("the recording could not be opened");
    std::ofstream out(argv[3], std::ios::binary);
    std::vector<char> buffer(1 << 20);
    long long total = 0;
    for (int n; (n = retriever.read(buffer.data(), static_cast<int>(buffer.size()))) > 0; total += n)
        out.write(buffer.data(), n);
    retriever.close();
    RecordDiskManager::stop();
    if (!out || total == 0) return fail(std::string("nothing was read back into ") + argv[3]);
    std::printf("read back %lld bytes into %s\n", total, argv[3]);
    return 0;
}
