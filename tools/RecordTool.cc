// Records N channels of a real H.264 (and optional G.711) stream into a
// record directory, for a simulated duration, the way a recorder drives the
// engine: frames into each channel's frame queue, blocks into its session.
// Then reads the day's index back and prints, per channel, the time
// segments it finds and a check of the record files' TS data.
//
//   recstore_record [options] TESTDATA_DIR RECORD_DIR
//     --channels N      channels to record (default 4)
//     --seconds S       simulated seconds per channel (default 120)
//     --video FILE      H.264 Annex B stream (default TESTDATA_DIR/hd25_gop25_10s.h264)
//     --audio FILE      G.711 A-law stream, "none" for none (default TESTDATA_DIR/tone8k_20s.alaw)
//     --file-mib M      size of a record file in MiB (default 16)
//     --width W --height H  picture size of the video (default 1280x720)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "disk/RecordDiskManagerImpl.h"
#include "foundation/BasicTool.h"
#include "foundation/FrameQueueSizeManager.h"
#include "host/DiskManagerFactory.h"
#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "host/IFile.h"
#include "host/FileFactory.h"
#include "host/TimeConverter.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordIndexParserImplEx.h"
#include "recording/RecordStorage.h"
#include "recording/TSFrameQueue.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tests/support/TestStreams.h"

namespace {

constexpr long long kStart = 1704110400;  // 2024-01-01 12:00:00 UTC
constexpr int kPacket = 188;

struct Options {
    int nChannels = 4;
    int nSeconds = 120;
    std::string strVideo;
    std::string strAudio;
    long long nFileBytes = 16LL << 20;
    int nWidth = 1280;
    int nHeight = 720;
    std::string strTestData;
    std::string strRecordDir;
};

void usage() {
    std::fprintf(stderr,
                 "usage: recstore_record [--channels N] [--seconds S] [--video FILE] [--audio FILE|none]\n"
                 "                       [--file-mib M] [--width W] [--height H] TESTDATA_DIR RECORD_DIR\n");
}

bool parse(int argc, char** argv, Options& options) {
    std::vector<std::string> rest;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&]() -> char const* { return i + 1 < argc ? argv[++i] : nullptr; };
        char const* v = nullptr;
        if (arg == "--channels" && (v = value())) options.nChannels = std::atoi(v);
        else if (arg == "--seconds" && (v = value())) options.nSeconds = std::atoi(v);
        else if (arg == "--video" && (v = value())) options.strVideo = v;
        else if (arg == "--audio" && (v = value())) options.strAudio = v;
        else if (arg == "--file-mib" && (v = value())) options.nFileBytes = std::atoll(v) << 20;
        else if (arg == "--width" && (v = value())) options.nWidth = std::atoi(v);
        else if (arg == "--height" && (v = value())) options.nHeight = std::atoi(v);
        else if (!arg.empty() && arg[0] == '-') return false;
        else rest.push_back(arg);
    }
    if (rest.size() != 2 || options.nChannels < 1 || options.nSeconds < 1 || options.nFileBytes < (1 << 20))
        return false;
    options.strTestData = rest[0];
    options.strRecordDir = rest[1];
    if (options.strVideo.empty()) options.strVideo = options.strTestData + "/hd25_gop25_10s.h264";
    if (options.strAudio.empty()) options.strAudio = options.strTestData + "/tone8k_20s.alaw";
    return true;
}

// One recorder channel: its queue and its session.
struct Channel {
    int nCamera = 0;
    std::unique_ptr<TSFrameQueue> queue;
    RecordStorage storage;
    long long nBytes = 0;
    int nRefused = 0;
    int nFailed = 0;

    // What the host's recording loop does: every block that is ready goes
    // to the session.
    void drain() {
        TSAVData* block = nullptr;
        while (queue->frontAVData(&block)) {
            if (block != nullptr) {
                int code = storage.write(0, block);
                if (code == 0) nBytes += block->getDataLength();
                else if (code == -762) ++nRefused;
                else ++nFailed;
                block = nullptr;
            }
            queue->popAVData();
        }
    }
};

std::string clock(unsigned long seconds) {
    std::string text;
    TimeConverter::longToStr(seconds, text);
    return text;
}

// Valid data of a record file is whole TS packets.
bool isTransportStream(std::string const& path, long long length, long long& packets) {
    SafePointer<IFile> file = FileFactory::createFile(1, 0);
    packets = 0;
    if (!file->open(path.c_str(), 1)) return false;
    std::vector<char> buffer(kPacket * 1024);
    long long left = length;
    bool good = length % kPacket == 0;
    while (good && left > 0) {
        int want = static_cast<int>(std::min<long long>(left, static_cast<long long>(buffer.size())));
        int got = file->read(buffer.data(), want);
        if (got != want) {
            good = false;
            break;
        }
        for (int at = 0; at < got; at += kPacket) good = good && buffer[static_cast<size_t>(at)] == 0x47;
        packets += got / kPacket;
        left -= got;
    }
    file->close();
    return good;
}

int readBack(RecordDirInfoEx const& dir, Channel const& channel) {
    std::string deviceDir = BasicTool::getDeviceDirString("NVR", "192.168.1.10", channel.nCamera);
    std::vector<std::string> dates;
    BasicTool::getRecordDateList(dir, BasicTool::kRecordDirName, deviceDir, dates);
    BasicTool::sort(dates, true);
    std::printf("channel %d (%s): %.1f MB written, %d blocks refused, %d failed\n", channel.nCamera,
                deviceDir.c_str(), channel.nBytes / 1048576.0, channel.nRefused, channel.nFailed);
    int problems = 0;
    for (std::string const& date : dates) {
        RecordIndexFileParserEx parser;
        if (parser.open(dir, date, deviceDir, 0, 0) != 1) {
            std::printf("  %s: index cannot be opened\n", date.c_str());
            ++problems;
            continue;
        }
        RecordQueryResult result;
        RecordQueryCondition condition;
        condition.setRecordBeginTime(0);
        condition.setRecordEndTime(0xFFFFFFFFul);
        condition.setRecordQueryTimePrecision(2);
        SingleDeviceRecordQuery query(result, condition);
        query.setDate(date);
        parser.queryRecordSegmentList(&query, false);
        query.clear();
        for (RecordTimeSegment const& segment : result.getRecordTimeSegmentList()) {
            std::printf("  segment %s - %s  (%lu s)\n", clock(segment.getRecordBeginTime()).c_str(),
                        clock(segment.getRecordEndTime()).c_str(),
                        segment.getRecordEndTime() - segment.getRecordBeginTime());
        }
        int length = 0;
        char* image = parser.getIndexInfo(length);
        RecordIndexParserImplEx entries;
        entries.setIndexInfo(dir, date, deviceDir, image, length, 0);
        RecordIndexParserImplEx::FileList files;
        entries.getRecordFileInfoList(0, 0x7FFFFFFFFFFFLL, files);
        for (SafePointer<RecordFileInfo> const& file : files) {
            int begin = 0;
            int headEnd = 0;
            int end = 0;
            long long valid = 0;
            if (entries.getIndexPosByFileName(file->getRecordFileName().c_str(), begin, headEnd, end) == 1) {
                RecordIndexParserImplEx one;
                one.setIndexInfo(dir, date, deviceDir, image + begin, end - begin + 1, 0);
                int time = 0;
                int interval = 0;
                int last = 0;
                bool closed = false;
                int data = 0;
                one.getRecordFileLenAndTimeLen(data, time, interval, last, closed);
                valid = data;
            }
            long long packets = 0;
            bool good = isTransportStream(file->createRecordFileName(), valid, packets);
            std::printf("  file %s: %lld bytes indexed, %lld TS packets, %s\n", file->getRecordFileName().c_str(),
                        valid, packets, good ? "ok" : "BROKEN");
            if (!good) ++problems;
        }
    }
    return problems;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        usage();
        return 2;
    }
    setenv("TZ", "UTC", 0);
    tzset();
    if (HostPaths::getRoot().empty()) HostPaths::setRoot(options.strRecordDir);

    TestStreams::VideoOptions videoOptions;
    videoOptions.nFirstTime = kStart * 1000000;
    videoOptions.nWidth = options.nWidth;
    videoOptions.nHeight = options.nHeight;
    std::vector<AVData> video = TestStreams::readH264(options.strVideo, videoOptions);
    if (video.empty()) {
        std::fprintf(stderr, "recstore_record: no H.264 frames in %s\n", options.strVideo.c_str());
        return 1;
    }
    std::vector<AVData> audio;
    if (options.strAudio != "none") {
        TestStreams::AudioOptions audioOptions;
        audioOptions.nFirstTime = videoOptions.nFirstTime;
        audio = TestStreams::readALaw(options.strAudio, audioOptions);
    }
    // The streams repeat as one loop of the video's length.
    long long loopLength = (video.back().getTimeStamp() - video.front().getTimeStamp()) + videoOptions.nStep;
    while (!audio.empty() && audio.back().getTimeStamp() >= videoOptions.nFirstTime + loopLength) audio.pop_back();
    std::vector<AVData> frames = TestStreams::interleave(video, audio);

    RecordDirInfoEx dir;
    dir.setRecordRootDir(options.strRecordDir + "/disk1");
    dir.setRecordDiskName("disk1");
    dir.setDiskType(1);
    dir.setFileSegmentSize(options.nFileBytes);
    DiskManagerFactory::getDiskManager(1, 0)->createDir(dir.getRecordRootDir().c_str());
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({dir});

    std::vector<std::unique_ptr<Channel>> channels;
    for (int i = 0; i < options.nChannels; ++i) {
        std::unique_ptr<Channel> channel(new Channel());
        channel->nCamera = i + 1;
        channel->queue.reset(new TSFrameQueue(FrameQueueSizeManager::getFrameQueueSize(options.nChannels)));
        channel->queue->setDeviceInfo("NVR", channel->nCamera);
        RecordInfo info;
        info.setDeviceId("NVR");
        info.setDeviceIP("192.168.1.10");
        info.setCameraId(channel->nCamera);
        channel->storage.open(info, false);
        channel->storage.setTSFrameQueue(channel->queue.get());
        channels.push_back(std::move(channel));
    }

    std::printf("recording %d channel(s) of %s for %d simulated seconds into %s\n", options.nChannels,
                options.strVideo.c_str(), options.nSeconds, dir.getRecordRootDir().c_str());
    long long end = kStart * 1000000 + static_cast<long long>(options.nSeconds) * 1000000;
    long long lastSecond = kStart;
    for (long long loop = 0;; ++loop) {
        bool done = false;
        for (AVData const& source : frames) {
            AVData frame = source;
            long long time = source.getTimeStamp() + loop * loopLength;
            if (time >= end) {
                done = true;
                break;
            }
            frame.setTimeStamp(time);
            frame.setSequenceId(source.getSequenceId() + static_cast<unsigned int>(loop * frames.size()));
            for (std::unique_ptr<Channel>& channel : channels) {
                frame.setCameraNo(channel->nCamera);
                channel->queue->pushAVData(&frame);
                channel->drain();
            }
            // Wall time moves with the stream, so writers flush as they would.
            long long second = time / 1000000;
            if (second != lastSecond) {
                HostClock::shift(static_cast<double>(second - lastSecond));
                lastSecond = second;
                if ((second - kStart) % 10 == 0) {
                    long long bytes = 0;
                    for (std::unique_ptr<Channel>& channel : channels) bytes += channel->nBytes;
                    std::printf("  %4lld / %d s recorded, %.1f MB\n", second - kStart, options.nSeconds,
                                bytes / 1048576.0);
                    std::fflush(stdout);
                }
            }
        }
        if (done) break;
    }
    for (std::unique_ptr<Channel>& channel : channels) channel->storage.close();

    std::printf("reading back the index of each channel:\n");
    int problems = 0;
    for (std::unique_ptr<Channel> const& channel : channels) problems += readBack(dir, *channel);
    RecordDiskManagerImpl::getInstance()->clear();
    if (problems != 0) {
        std::printf("%d problem(s) found\n", problems);
        return 1;
    }
    std::printf("all record files hold whole TS packets up to their indexed length\n");
    return 0;
}
