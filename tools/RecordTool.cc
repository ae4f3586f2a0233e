// Records N channels of a real H.264 (and optional G.711) stream into a
// record directory, for a simulated duration, the way a recorder drives the
// engine: frames into each channel's frame queue, blocks into its session.
// Then reads the day's index back and prints, per channel, the time
// segments it finds and a check of the record files' TS data. With
// --snapshots each channel also stores a picture of the test data every N
// seconds, and the pictures found again are listed and read back.
//
// Exit status: 0 when every channel recorded and every record file read back
// whole; 1 when a channel recorded nothing, had blocks fail or read back
// broken, or an input could not be read; 2 for a malformed command line.
// Each failure is one line on standard error.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "disk/RecordDeviceDirPolicy.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/BasicTool.h"
#include "foundation/FrameQueueSizeManager.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "host/IFile.h"
#include "host/TimeConverter.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordIndexParserImplEx.h"
#include "recording/RecordStorage.h"
#include "recording/TSFrameQueue.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "snapshot/SnapshotDiskManagerImplEx.h"
#include "snapshot/SnapshotRetriever.h"
#include "snapshot/SnapshotStorageEx.h"
#include "tests/support/TestStreams.h"

namespace {

constexpr int kPacket = 188;
constexpr char kDefaultStart[] = "2024-01-01 12:00:00";
constexpr int kPictures = 5;                      // snap1.jpg .. snap5.jpg
constexpr long long kSnapshotFileBytes = 1 << 20;  // a data file holds about 20 pictures

char const kUsage[] =
    "usage: recstore record [options] TESTDATA_DIR RECORD_DIR\n"
    "  --channels N      channels to record, 1 to 256 (default 4)\n"
    "  --seconds S       simulated seconds per channel, 1 to 86400 (default: until\n"
    "                    the disks are full and a quarter of their files came back\n"
    "                    through the recycle bin)\n"
    "  --start TIME      \"YYYY-MM-DD HH:MM:SS\", local time of the first frame\n"
    "                    (default \"2024-01-01 12:00:00\"); a later start into the\n"
    "                    same RECORD_DIR continues its timeline\n"
    "  --video FILE      H.264 Annex B stream (default TESTDATA_DIR/hd25_gop25_10s.h264)\n"
    "  --audio FILE      G.711 A-law stream, or none (default TESTDATA_DIR/tone8k_20s.alaw)\n"
    "  --file-mib M      size of a record file in MiB, 1 to 2048 (default 16)\n"
    "  --width W         picture width, 16 to 8192 (default 1280)\n"
    "  --height H        picture height, 16 to 8192 (default 720)\n"
    "  --disks N         record directories, one per disk, 1 to 8 (default 2)\n"
    "  --disk-mib M      space each record directory may claim, 16 to 65536 MiB\n"
    "                    (default 512); its record files are preallocated in it,\n"
    "                    and each channel and day needs ten files' room for its index\n"
    "  --snapshots N     each channel also stores a picture every N seconds, 1 to 3600\n"
    "                    (TESTDATA_DIR/snapshots/snap1.jpg .. snap5.jpg in turn), and\n"
    "                    the pictures found again are listed and read back (default: none)\n"
    "Records into RECORD_DIR/disk1 .. diskN, each channel with a cycle-write policy;\n"
    "pictures go to a snapshot directory on the same disks (diskN/snapshot);\n"
    "logs go to RECORD_DIR/mnt/mtd/log unless RECSTORE_ROOT names another root.\n";

struct Options {
    int nChannels = 4;
    int nSeconds = 0;  // 0: until full and through the bin
    unsigned long nStart = 0;
    std::string strVideo;
    std::string strAudio;
    long long nFileBytes = 16LL << 20;
    int nDisks = 2;
    long long nDiskBytes = 512LL << 20;
    int nWidth = 1280;
    int nHeight = 720;
    int nSnapshotSeconds = 0;  // 0: no pictures
    std::string strTestData;
    std::string strRecordDir;
};

void fail(std::string const& text) { std::fprintf(stderr, "recstore record: %s\n", text.c_str()); }

// Digits only, no sign, no blanks: "99999999999" must not wrap into range.
bool parseNumber(char const* text, long long low, long long high, long long& value) {
    if (*text == '\0' || std::strlen(text) > 12) return false;
    long long number = 0;
    for (char const* p = text; *p != '\0'; ++p) {
        if (*p < '0' || *p > '9') return false;
        number = number * 10 + (*p - '0');
    }
    if (number < low || number > high) return false;
    value = number;
    return true;
}

// Exactly "YYYY-MM-DD HH:MM:SS", a real date and time, in local time.
bool parseStart(char const* text, unsigned long& seconds) {
    OVDateTime time;
    return std::strlen(text) == 19 && TimeConverter::getSTDate(text, time) &&
           TimeConverter::strToLong(text, seconds);
}

// 0 on success; else the exit status, with the one line already written.
int parse(int argc, char** argv, Options& options) {
    struct Number {
        char const* name;
        long long low;
        long long high;
        long long value;
    };
    Number numbers[] = {{"--channels", 1, 256, options.nChannels},
                        {"--seconds", 1, 86400, options.nSeconds},
                        {"--file-mib", 1, 2048, options.nFileBytes >> 20},
                        {"--width", 16, 8192, options.nWidth},
                        {"--height", 16, 8192, options.nHeight},
                        {"--disk-mib", 16, 65536, options.nDiskBytes >> 20},
                        {"--disks", 1, 8, options.nDisks},
                        {"--snapshots", 1, 3600, options.nSnapshotSeconds}};
    std::string start = kDefaultStart;
    std::vector<std::string> rest;
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return -1;
        }
        if (arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
            rest.push_back(arg);
            continue;
        }
        if (i + 1 >= argc || argv[i + 1][0] == '\0') {
            fail(arg + " needs a value (--help lists the options)");
            return 2;
        }
        char const* value = argv[++i];
        bool known = true;
        if (arg == "--video") options.strVideo = value;
        else if (arg == "--audio") options.strAudio = value;
        else if (arg == "--start") start = value;
        else known = false;
        for (Number& number : numbers) {
            if (arg != number.name) continue;
            known = true;
            if (!parseNumber(value, number.low, number.high, number.value)) {
                fail(arg + " wants a whole number from " + std::to_string(number.low) + " to " +
                     std::to_string(number.high) + ", not '" + value + "'");
                return 2;
            }
        }
        if (!known) {
            fail("unknown option " + arg + " (--help lists the options)");
            return 2;
        }
    }
    if (rest.size() != 2) {
        fail("wants TESTDATA_DIR and RECORD_DIR (--help for usage)");
        return 2;
    }
    if (!parseStart(start.c_str(), options.nStart)) {
        fail("--start wants a time \"YYYY-MM-DD HH:MM:SS\", not '" + start + "'");
        return 2;
    }
    options.nChannels = static_cast<int>(numbers[0].value);
    options.nSeconds = static_cast<int>(numbers[1].value);
    options.nFileBytes = numbers[2].value << 20;
    options.nWidth = static_cast<int>(numbers[3].value);
    options.nHeight = static_cast<int>(numbers[4].value);
    options.nDiskBytes = numbers[5].value << 20;
    options.nDisks = static_cast<int>(numbers[6].value);
    options.nSnapshotSeconds = static_cast<int>(numbers[7].value);
    options.strTestData = rest[0];
    options.strRecordDir = rest[1];
    if (options.strVideo.empty()) options.strVideo = options.strTestData + "/hd25_gop25_10s.h264";
    if (options.strAudio.empty()) options.strAudio = options.strTestData + "/tone8k_20s.alaw";
    return 0;
}

// A stream file that can be read as a whole; else false with the line written.
bool checkReadable(char const* what, std::string const& path) {
    if (DiskManagerFactory::getDiskManager(1, 0)->isDirExist(path.c_str()) != 0) {
        fail(std::string("cannot read the ") + what + " " + path + ": it is a folder");
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        fail(std::string("cannot read the ") + what + " " + path + ": " + std::strerror(errno));
        return false;
    }
    return true;
}

std::string codeText(int code) {
    char const* name = getReturnCodeName(code);
    return std::to_string(code) + " " + (name != nullptr ? name : "(no name)");
}

// One recorder channel: its queue and its session.
struct Channel {
    int nCamera = 0;
    std::unique_ptr<TSFrameQueue> queue;
    RecordStorage storage;
    long long nBytes = 0;
    int nRefused = 0;
    int nFailed = 0;
    int nLastRefusal = 0;
    int nLastFailure = 0;
    std::unique_ptr<TSFrameQueue> pictureQueue;  // in snapshot mode
    SnapshotStorageEx snapshots;
    int nPictures = 0;
    int nPicturesFailed = 0;
    int nLastPictureFailure = 0;

    // A picture of the camera goes into its queue, and the host's snapshot
    // loop writes what is ready to the snapshot session.
    void snapshot(std::string const& jpeg, long long time) {
        AVData frame;
        frame.setESStreamType(1);
        frame.setEncoderType(2);
        frame.setFrameType(1);
        frame.setCameraNo(nCamera);
        frame.setTimeStamp(time);
        frame.setData(jpeg.data(), static_cast<unsigned int>(jpeg.size()));
        int const pushed = pictureQueue->pushAVData(&frame);
        if (pushed != 0) {
            ++nPicturesFailed;
            nLastPictureFailure = pushed;
        }
        TSAVData* picture = nullptr;
        while (pictureQueue->frontAVData(&picture)) {
            if (picture != nullptr) {
                int const code = snapshots.write(1, picture);
                if (code == 0) {
                    ++nPictures;
                } else {
                    ++nPicturesFailed;
                    nLastPictureFailure = code;
                }
                picture = nullptr;
            }
            pictureQueue->popAVData();
        }
    }

    // What the host's recording loop does: every block that is ready goes
    // to the session.
    void drain() {
        TSAVData* block = nullptr;
        while (queue->frontAVData(&block)) {
            if (block != nullptr) {
                int code = storage.write(0, block);
                if (code == 0) {
                    nBytes += block->getDataLength();
                } else if (code == OV_RECORD_FRAME_REFUSED) {
                    ++nRefused;
                    nLastRefusal = code;
                } else {
                    ++nFailed;
                    nLastFailure = code;
                }
                block = nullptr;
            }
            queue->popAVData();
        }
    }

    // The line that tells why this channel failed; empty when it did not.
    std::string failure() const {
        std::string const head = "channel " + std::to_string(nCamera) + ": ";
        char written[64];
        std::snprintf(written, sizeof(written), " after %.1f MB were written", nBytes / 1048576.0);
        if (nFailed > 0) {
            return head + (nBytes == 0 ? "recorded nothing: " : "") + std::to_string(nFailed) + " block(s) failed" +
                   (nBytes == 0 ? "" : written) + ", the last with " + codeText(nLastFailure);
        }
        if (nPicturesFailed > 0) {
            return head + std::to_string(nPicturesFailed) + " picture(s) failed, the last with " +
                   codeText(nLastPictureFailure);
        }
        if (nBytes > 0) return "";
        if (nRefused > 0) {
            return head + "recorded nothing: all " + std::to_string(nRefused) + " block(s) refused with " +
                   codeText(nLastRefusal);
        }
        return head + "recorded nothing: no block came out of the frame queue";
    }
};

// The disk manager opens the directory on its next pass and the directory
// makes itself ready on its own thread; a disk it finds unusable (status
// other than unknown or ready) ends the wait at once.
void waitUntilReady(std::string const& root) {
    auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (std::chrono::steady_clock::now() < until) {
        SafePointer<IRecordDir> dir = RecordDiskManagerImpl::getInstance()->getRecordDir(root);
        if (!dir.isNull()) {
            if (dir->isWritable()) return;
            int const status = dir->getRecordDirInfoEx().getStatus();
            if (status != 0 && status != 1) return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

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

// Prints what the index holds for the channel; answers the problem lines.
std::vector<std::string> readBack(RecordDirInfoEx const& dir, Channel const& channel, int& segments) {
    std::string deviceDir = BasicTool::getDeviceDirString("NVR", "192.168.1.10", channel.nCamera);
    std::vector<std::string> dates;
    BasicTool::getRecordDateList(dir, BasicTool::kRecordDirName, deviceDir, dates);
    BasicTool::sort(dates, true);
    std::vector<std::string> problems;
    std::string const head = "channel " + std::to_string(channel.nCamera) + ": ";
    for (std::string const& date : dates) {
        RecordIndexFileParserEx parser;
        if (parser.open(dir, date, deviceDir, 0, 0) != 1) {
            problems.push_back(head + "the index of " + date + " cannot be opened");
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
            ++segments;
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
            if (!good) problems.push_back(head + "record file " + file->getRecordFileName() + " is broken");
        }
    }
    return problems;
}

// Prints the disk's record files by place: the empty pool, in use in date
// folders, the recycle bin. On a local disk each keeps the segment size for
// life; answers a problem line for every one that does not.
std::vector<std::string> countDiskFiles(RecordDirInfoEx const& dir) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(1, 0);
    std::string const record = dir.getRecordRootDir() + "/record";
    std::vector<std::string> problems;
    auto check = [&](std::string const& path) {
        std::ifstream file(path, std::ios::binary | std::ios::ate);
        long long const size = file ? static_cast<long long>(file.tellg()) : -1;
        if (size != dir.getFileSegmentSize())
            problems.push_back(dir.getRecordDiskName() + ": record file " + path + " has " + std::to_string(size) +
                               " bytes, not the segment size " + std::to_string(dir.getFileSegmentSize()));
    };
    std::vector<std::string> names;
    disk->getFileList((record + "/empty").c_str(), names, nullptr, 0);
    size_t const pool = names.size();
    for (std::string const& name : names) check(record + "/empty/" + name);
    names.clear();
    disk->getFileList((record + "/recycleBin").c_str(), names, nullptr, 0);
    size_t const bin = names.size();
    for (std::string const& name : names) check(record + "/recycleBin/" + name);
    size_t used = 0;
    std::vector<std::string> devices;
    disk->getDirList(record.c_str(), devices);
    for (std::string const& device : devices) {
        if (device == "empty" || device == "recycleBin" || device == "Index") continue;
        std::vector<std::string> dates;
        disk->getDirList((record + "/" + device).c_str(), dates);
        for (std::string const& date : dates) {
            std::string const folder = record + "/" + device + "/" + date;
            std::vector<std::string> files;
            disk->getFileList(folder.c_str(), files, "*.ts", 0);
            used += files.size();
            for (std::string const& name : files) check(folder + "/" + name);
        }
    }
    std::printf("%s: %zu record file(s): %zu in the pool, %zu in use, %zu in the recycle bin\n",
                dir.getRecordDiskName().c_str(), pool + used + bin, pool, used, bin);
    return problems;
}

// The pictures of the test data, in turn; empty (with the line written)
// when one cannot be read.
std::vector<std::string> readPictures(std::string const& testData) {
    std::vector<std::string> pictures;
    for (int n = 1; n <= kPictures; ++n) {
        std::string const path = testData + "/snapshots/snap" + std::to_string(n) + ".jpg";
        if (!checkReadable("picture", path)) return {};
        std::ifstream in(path, std::ios::binary);
        pictures.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (pictures.back().empty()) {
            fail("the picture " + path + " is empty");
            return {};
        }
    }
    return pictures;
}

std::string clockMs(long long ms) {
    char text[8];
    std::snprintf(text, sizeof text, ".%03lld", ms % 1000);
    return clock(static_cast<unsigned long>(ms / 1000)) + text;
}

// Lists the channel's pictures through the retriever and reads each back;
// answers the problem lines. shots: the time (ms) of each picture taken and
// which of the pictures it was.
std::vector<std::string> readBackPictures(Channel const& channel, std::map<long long, int> const& shots,
                                          std::vector<std::string> const& pictures, long long begin, long long end) {
    std::string const head = "channel " + std::to_string(channel.nCamera) + ": ";
    SnapshotQueryCondition condition;
    condition.setDeviceId("NVR");
    condition.setDeviceIP("192.168.1.10");
    condition.setCameraId(channel.nCamera);
    condition.setBeginTime(begin);
    condition.setEndTime(end);
    std::vector<SnapshotFile> found;
    SnapshotRetriever retriever;
    int const code = retriever.query(condition, found);
    if (code != 0) return {head + "the snapshot query failed with " + codeText(code)};
    if (found.empty()) {
        std::printf("channel %d: %d snapshot(s) stored, none found\n", channel.nCamera, channel.nPictures);
        return channel.nPictures > 0 ? std::vector<std::string>{head + "no stored snapshot was found again"}
                                     : std::vector<std::string>{};
    }
    // The list goes disk by disk, not in time order.
    long long first = found.front().getTime();
    long long last = first;
    for (SnapshotFile const& file : found) {
        first = std::min(first, file.getTime());
        last = std::max(last, file.getTime());
    }
    std::printf("channel %d: %d snapshot(s) stored, %zu found, first %s, last %s\n", channel.nCamera,
                channel.nPictures, found.size(), clockMs(first).c_str(), clockMs(last).c_str());
    std::vector<std::string> problems;
    std::vector<char> piece(16384);
    for (SnapshotFile const& file : found) {
        auto const shot = shots.find(file.getTime());
        std::string bytes;
        int n = retriever.open(file.getFileName().c_str());
        if (n == 0) {
            while ((n = retriever.read(piece.data(), static_cast<int>(piece.size()))) > 0)
                bytes.append(piece.data(), static_cast<size_t>(n));
        }
        retriever.close();
        if (n < 0) {
            problems.push_back(head + "snapshot " + file.getFileName() + " cannot be read: " + codeText(n));
        } else if (shot == shots.end() || bytes != pictures[static_cast<size_t>(shot->second)]) {
            problems.push_back(head + "snapshot " + file.getFileName() + " does not read back as taken");
        }
    }
    return problems;
}

int run(Options const& options) {
    if (!checkReadable("video", options.strVideo)) return 1;
    if (options.strAudio != "none" && !checkReadable("audio", options.strAudio)) return 1;

    TestStreams::VideoOptions videoOptions;
    videoOptions.nFirstTime = static_cast<long long>(options.nStart) * 1000000;
    videoOptions.nWidth = options.nWidth;
    videoOptions.nHeight = options.nHeight;
    std::vector<AVData> video = TestStreams::readH264(options.strVideo, videoOptions);
    if (video.empty()) {
        fail("no H.264 frames in " + options.strVideo);
        return 1;
    }
    bool bIdr = false;
    for (AVData const& frame : video) bIdr = bIdr || frame.getFrameType() == 1;
    if (!bIdr) {
        fail("no IDR frame in " + options.strVideo + ": a record file begins only on one");
        return 1;
    }
    std::vector<AVData> audio;
    if (options.strAudio != "none") {
        TestStreams::AudioOptions audioOptions;
        audioOptions.nFirstTime = videoOptions.nFirstTime;
        audio = TestStreams::readALaw(options.strAudio, audioOptions);
        if (audio.empty()) {
            fail("no G.711 A-law frame in " + options.strAudio + " (--audio none records without sound)");
            return 1;
        }
    }
    // The streams repeat as one loop of the video's length.
    long long loopLength = (video.back().getTimeStamp() - video.front().getTimeStamp()) + videoOptions.nStep;
    while (!audio.empty() && audio.back().getTimeStamp() >= videoOptions.nFirstTime + loopLength) audio.pop_back();
    std::vector<AVData> frames = TestStreams::interleave(video, audio);
    std::vector<std::string> pictures;
    if (options.nSnapshotSeconds > 0) {
        pictures = readPictures(options.strTestData);
        if (pictures.empty()) return 1;
    }

    std::vector<RecordDirInfoEx> dirs;
    for (int d = 1; d <= options.nDisks; ++d) {
        RecordDirInfoEx dir;
        dir.setRecordRootDir(options.strRecordDir + "/disk" + std::to_string(d));
        dir.setRecordDiskName("disk" + std::to_string(d));
        dir.setDiskType(1);
        dir.setFileSegmentSize(options.nFileBytes);
        dir.setEnableFlag(true);
        // The directory preallocates its files from this, never from the disk's free space.
        dir.setUseableSpace(options.nDiskBytes);
        // A folder that cannot be made is left for the engine to refuse, channel by channel.
        DiskManagerFactory::getDiskManager(1, 0)->createDir(dir.getRecordRootDir().c_str());
        dirs.push_back(dir);
    }
    RecordDiskManagerImpl::getInstance()->start();
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList(dirs);
    for (RecordDirInfoEx const& dir : dirs) waitUntilReady(dir.getRecordRootDir());
    if (options.nSnapshotSeconds > 0) {
        // A snapshot directory on each disk: "snapshot" and its pool beside "record".
        std::vector<RecordDirInfoEx> snapshotDirs;
        std::vector<RecordDirInfo> hostList;
        for (RecordDirInfoEx dir : dirs) {
            dir.setFileSegmentSize(kSnapshotFileBytes);
            snapshotDirs.push_back(dir);
            hostList.push_back(RecordDirInfoEx::changeToRecordDirInfo(dir));
        }
        SnapshotDiskManagerImplEx::getInstance()->start();
        SnapshotDiskManagerImplEx::getInstance()->setRecordDirInfoList(snapshotDirs);
        SnapshotRetriever::setSnapshotDirList(hostList);
    }

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
        RecordDeviceInfo device;
        device.setDeviceId("NVR");
        device.setDeviceIP("192.168.1.10");
        device.setCameraId(channel->nCamera);
        device.setRecordMode(1);  // as a session names its files
        RecordDiskManagerImpl::getInstance()->setRecordDevicePolicy(RecordDeviceDirPolicy(device, true, 1, 0, false));
        channel->storage.open(info, false);
        channel->storage.setTSFrameQueue(channel->queue.get());
        if (options.nSnapshotSeconds > 0) {
            device.setRecordMode(2);
            SnapshotDiskManagerImplEx::getInstance()->setRecordDevicePolicy(
                RecordDeviceDirPolicy(device, true, 1, 0, false));
            channel->pictureQueue.reset(new TSFrameQueue(static_cast<int>(kSnapshotFileBytes)));
            channel->pictureQueue->setSnapshot(true);
            channel->snapshots.open(info, false);
        }
        channels.push_back(std::move(channel));
    }
    // The policies reach the group now rather than on the thread's next pass.
    RecordDiskManagerImpl::getInstance()->setDirPolicyThread();
    if (options.nSnapshotSeconds > 0) SnapshotDiskManagerImplEx::getInstance()->setDirPolicyThread();
    std::map<long long, int> shots;  // ms -> which picture
    long long nextShot = static_cast<long long>(options.nStart) * 1000000;

    long long const start = static_cast<long long>(options.nStart);
    // Without a length, the run goes on until it wrote the disks' space and a
    // quarter more, which can only have come back through the recycle bin.
    long long const untilBytes = options.nSeconds > 0 ? 0 : options.nDisks * options.nDiskBytes / 4 * 5;
    int const seconds = options.nSeconds > 0 ? options.nSeconds : 86400;
    if (options.nSeconds > 0) {
        std::printf("recording %d channel(s) of %s for %d simulated seconds from %s into %s on %d disk(s)\n",
                    options.nChannels, options.strVideo.c_str(), options.nSeconds, clock(options.nStart).c_str(),
                    options.strRecordDir.c_str(), options.nDisks);
    } else {
        std::printf("recording %d channel(s) of %s from %s into %s on %d disk(s) until %.1f MB are written\n",
                    options.nChannels, options.strVideo.c_str(), clock(options.nStart).c_str(),
                    options.strRecordDir.c_str(), options.nDisks, untilBytes / 1048576.0);
    }
    long long end = (start + seconds) * 1000000;
    long long written = 0;
    long long lastSecond = start;
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
            written = 0;
            bool const shoot = options.nSnapshotSeconds > 0 && time >= nextShot;
            int const picture = shoot ? static_cast<int>(shots.size() % pictures.size()) : 0;
            for (std::unique_ptr<Channel>& channel : channels) {
                frame.setCameraNo(channel->nCamera);
                channel->queue->pushAVData(&frame);
                channel->drain();
                written += channel->nBytes;
                if (shoot) channel->snapshot(pictures[static_cast<size_t>(picture)], time);
            }
            if (shoot) {
                shots[time / 1000] = picture;
                nextShot += static_cast<long long>(options.nSnapshotSeconds) * 1000000;
            }
            if (untilBytes > 0 && written >= untilBytes) {
                done = true;
                break;
            }
            // Wall time moves with the stream, so writers flush as they would.
            long long second = time / 1000000;
            if (second != lastSecond) {
                HostClock::shift(static_cast<double>(second - lastSecond));
                lastSecond = second;
                if ((second - start) % 10 == 0) {
                    long long bytes = 0;
                    for (std::unique_ptr<Channel>& channel : channels) bytes += channel->nBytes;
                    std::printf("  %4lld / %d s recorded, %.1f MB\n", second - start, seconds,
                                bytes / 1048576.0);
                    std::fflush(stdout);
                }
            }
        }
        if (done) break;
    }
    for (std::unique_ptr<Channel>& channel : channels) {
        channel->storage.close();
        channel->snapshots.close();
    }

    std::printf("reading back the index of each channel:\n");
    std::vector<std::string> problems;
    for (std::unique_ptr<Channel> const& channel : channels) {
        std::printf("channel %d (%s): %.1f MB written, %d blocks refused, %d failed\n", channel->nCamera,
                    BasicTool::getDeviceDirString("NVR", "192.168.1.10", channel->nCamera).c_str(),
                    channel->nBytes / 1048576.0, channel->nRefused, channel->nFailed);
        int segments = 0;
        for (RecordDirInfoEx const& dir : dirs) {
            std::vector<std::string> found = readBack(dir, *channel, segments);
            problems.insert(problems.end(), found.begin(), found.end());
        }
        std::printf("channel %d: %d segment(s) found\n", channel->nCamera, segments);
        if (options.nSnapshotSeconds > 0) {
            std::vector<std::string> found =
                readBackPictures(*channel, shots, pictures, static_cast<long long>(options.nStart) * 1000, end / 1000);
            problems.insert(problems.end(), found.begin(), found.end());
        }
        std::string const failure = channel->failure();
        if (!failure.empty()) problems.push_back(failure);
    }
    for (RecordDirInfoEx const& dir : dirs) {
        std::vector<std::string> found = countDiskFiles(dir);
        problems.insert(problems.end(), found.begin(), found.end());
    }
    RecordDiskManagerImpl::getInstance()->stop();
    SnapshotDiskManagerImplEx::getInstance()->stop();
    std::fflush(stdout);
    for (std::string const& problem : problems) fail(problem);
    if (!problems.empty()) return 1;
    std::printf("all record files hold whole TS packets up to their indexed length\n");
    return 0;
}

}  // namespace

// `recstore record`; argv[0] is the command's name.
int recordMain(int argc, char** argv) {
    // Local time is the engine's time for names and dates: UTC unless the caller chose a zone.
    setenv("TZ", "UTC", 0);
    tzset();
    Options options;
    int const status = parse(argc, argv, options);
    if (status != 0) return status < 0 ? 0 : status;
    if (HostPaths::getRoot().empty()) HostPaths::setRoot(options.strRecordDir);
    try {
        return run(options);
    } catch (std::exception const& error) {
        fail(std::string("stopped: ") + error.what());
        return 1;
    }
}
