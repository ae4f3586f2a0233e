#include "tests/soak/SoakWorker.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "disk/RecordDeviceDirPolicy.h"
#include "disk/RecordDiskManager.h"
#include "foundation/BasicTool.h"
#include "foundation/EncoderType.h"
#include "foundation/FrameQueueSizeManager.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "index/RecordIndexFileParserEx.h"
#include "recording/RecordStorage.h"
#include "recording/TSFrameQueue.h"
#include "retrieval/RecordRetriever.h"
#include "snapshot/SnapshotDiskManagerImplEx.h"
#include "snapshot/SnapshotRetriever.h"
#include "snapshot/SnapshotStorageEx.h"
#include "tests/soak/DiskFaults.h"
#include "tests/soak/SoakLedger.h"
#include "tests/support/FfprobeCheck.h"
#include "tests/support/TestStreams.h"
#include "tests/support/TsPacketReader.h"

namespace {

constexpr long long kFirstClock = 1704067200;  // 2024-01-01 00:00:00 UTC
constexpr char kDevice[] = "NVR";
constexpr char kDeviceIP[] = "192.168.1.10";
constexpr int kPictures = 5;
constexpr long long kSnapshotFileBytes = 1 << 20;
constexpr int kUnsureBursts = 4;  // a disk's faults may keep it out of reclamation this long
// Waits for the engine are stretched under ThreadSanitizer, which runs it
// many times slower.
#if defined(__SANITIZE_THREAD__)
constexpr int kSlowdown = 10;
#else
constexpr int kSlowdown = 1;
#endif

std::string clockText(long long seconds) { return SoakLedger::clockText(seconds); }

// A burst's last block may hold under a second: whether a segment's end
// second names it differs between the query's locked and unlocked answers.
bool holdsSecond(long long begin, long long end, long long time) { return time >= begin && time <= end + 1; }

// A query of one camera of the soak's recorder over [begin, end].
RecordQueryCondition conditionOf(int camera, long long begin, long long end) {
    RecordQueryCondition condition;
    condition.setDeviceId(kDevice);
    condition.setDeviceIP(kDeviceIP);
    condition.setCameraId(camera);
    condition.setRecordBeginTime(static_cast<unsigned long>(begin));
    condition.setRecordEndTime(static_cast<unsigned long>(end));
    return condition;
}

long long wallNow() { return static_cast<long long>(std::time(nullptr)); }

std::vector<std::string> listDir(std::string const& path, bool folders) {
    std::vector<std::string> names;
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) return names;
    while (dirent* entry = readdir(dir)) {
        std::string const name = entry->d_name;
        if (name == "." || name == "..") continue;
        bool const isDir = entry->d_type == DT_DIR;
        if (isDir == folders) names.push_back(name);
    }
    closedir(dir);
    return names;
}

int countThreads() { return static_cast<int>(listDir("/proc/self/task", true).size()); }

long long residentBytes() {
    std::ifstream statm("/proc/self/statm");
    long long size = 0;
    long long resident = 0;
    statm >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

// A camera's stream, repeated as one loop.
struct Stream {
    std::vector<AVData> frames;  // times from 0
    long long nLoop = 0;         // microseconds
    std::vector<std::string> video;             // the video frames' bytes, in order
    std::vector<bool> idr;                      // of each video frame
    std::map<std::string, std::vector<int>> videoIndex;  // bytes -> positions in `video` (frames repeat)
};

bool loadStream(std::string const& dir, std::string const& name, int width, int height, Stream& stream) {
    TestStreams::VideoOptions videoOptions;
    videoOptions.nFirstTime = 0;
    videoOptions.nWidth = width;
    videoOptions.nHeight = height;
    std::vector<AVData> video = TestStreams::readH264(dir + "/" + name, videoOptions);
    TestStreams::AudioOptions audioOptions;
    audioOptions.nFirstTime = 0;
    std::vector<AVData> audio = TestStreams::readALaw(dir + "/tone8k_20s.alaw", audioOptions);
    if (video.empty() || audio.empty()) return false;
    stream.nLoop = video.back().getTimeStamp() + videoOptions.nStep;
    while (!audio.empty() && audio.back().getTimeStamp() >= stream.nLoop) audio.pop_back();
    for (AVData const& frame : video) {
        std::string bytes(frame.getData(), frame.getDataLength());
        stream.videoIndex[bytes].push_back(static_cast<int>(stream.video.size()));
        stream.video.push_back(bytes);
        stream.idr.push_back(frame.getFrameType() == 1);
    }
    stream.frames = TestStreams::interleave(video, audio);
    return true;
}

// One camera: a producer thread pushes its frames into the queue, second by
// second as the clock is moved; a consumer thread hands the blocks to the
// recording session, as a host's receiving and recording threads do.
struct Channel {
    int nCamera = 0;
    Stream const* pStream = nullptr;
    std::unique_ptr<TSFrameQueue> queue;
    RecordInfo info;
    std::thread producer;
    std::thread consumer;

    // Producer state: the next frame of the burst.
    long long nBurstStart = 0;  // microseconds
    size_t nNext = 0;
    long long nLoops = 0;
    unsigned int nSequence = 0;
    bool bInBurst = false;

    // Consumer control.
    std::atomic<bool> bWantOpen{false};
    std::atomic<bool> bOpen{false};
    std::atomic<long long> nFailures{0};  // blocks the session refused, as faults make it

    // Snapshots.
    std::unique_ptr<TSFrameQueue> pictureQueue;
    SnapshotStorageEx snapshots;
};

class SoakWorker {
public:
    explicit SoakWorker(SoakOptions const& options) : m_options(options) {}
    int run();

private:
    // The clock.
    void setClock(long long sim);

    // The engine.
    std::vector<RecordDirInfo> diskList(int without) const;
    void useDiskList(int without);
    bool waitUntilReady(long long seconds);
    void startChannels();
    void stopChannels();
    void produce(Channel& channel);
    void consume(Channel& channel);
    void pushSecond(long long second);
    void readAtRandom();

    // The run.
    void burst();
    void lockOrUnlock();
    void snapshot(Channel& channel, int picture);

    // Checks; each failure is printed and noted in the ledger.
    void check(char const* why);
    void checkRecordFiles();
    void checkPlayback(int camera);
    // A query finds the second now (a failed query counts as found).
    bool queryShows(int camera, long long time);
    void checkSnapshots(std::vector<bool> const& unsure);
    void fail(std::string const& text);

    SoakOptions m_options;
    SoakLedger m_ledger;
    std::mt19937_64 m_random;
    std::unique_ptr<DiskFaults> m_pFaults;
    std::vector<std::string> m_roots;
    std::vector<std::unique_ptr<Channel>> m_channels;
    Stream m_hd;
    Stream m_cif;
    std::vector<std::string> m_pictures;
    long long m_nClock = 0;
    int m_nBurst = 0;
    std::vector<int> m_lastFault;  // per disk, the burst of its last fault
    std::vector<size_t> m_recordFiles;  // per disk, at the first check
    // Snapshot data files by path, as the last check saw them, and the
    // camera's files seen gone since (camera, begin).
    struct PictureFile {
        int nCamera;
        long long nBegin;
        int nDisk;
    };
    std::map<std::string, PictureFile> m_pictureFiles;
    std::set<std::pair<int, long long>> m_gonePictureFiles;
    long long m_nFirstSnapshotCheck = 0;
    long long m_nLastSnapshotCheck = 0;
    std::atomic<int> m_nViolations{0};  // the reader thread fails too
    long long m_nRssAfterWarmUp = 0;
    long long m_nRssPeak = 0;
    char const* m_pszStage = "start";  // what the current check follows

    // Producers move second by second with the clock.
    std::mutex m_pushMutex;
    std::condition_variable m_pushWake;
    long long m_nPushUntil = 0;  // microseconds
    int m_nPushRound = 0;
    int m_nPushed = 0;
    std::atomic<bool> m_bStop{false};

    std::thread m_reader;
    std::atomic<bool> m_bRecording{false};
    std::atomic<long long> m_nReads{0};
};

int randomIn(std::mt19937_64& random, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
}

void SoakWorker::fail(std::string const& text) {
    std::fprintf(stderr, "soak: VIOLATION at %s (check after %s): %s\n", clockText(m_nClock).c_str(), m_pszStage,
                 text.c_str());
    m_ledger.noteViolation(text);
    ++m_nViolations;
}

void SoakWorker::setClock(long long sim) {
    double const offset = static_cast<double>(sim * 1000000 - HostClock::read(CLOCK_REALTIME)) / 1e6;
    HostClock::shift(offset);
    m_nClock = sim;
    m_ledger.noteClock(sim);
}

std::vector<RecordDirInfo> SoakWorker::diskList(int without) const {
    std::vector<RecordDirInfo> list;
    for (size_t d = 0; d < m_roots.size(); ++d) {
        if (static_cast<int>(d) == without) continue;
        RecordDirInfo disk;
        disk.setDiskName(m_roots[d].c_str());
        disk.setDiskType(1);
        disk.setGroupId(1);
        disk.setAttribute(1);
        disk.setUsableSpace(m_options.nDiskMiB);
        disk.setEnableFlag(true);
        list.push_back(disk);
    }
    return list;
}

// As a host does when a disk is taken out of or put back into service.
void SoakWorker::useDiskList(int without) {
    std::vector<RecordDirInfo> const list = diskList(without);
    RecordDiskManager::setRecordDirInfoList(list);
    RecordRetriever::setRecordDirList(list);
}

bool SoakWorker::waitUntilReady(long long seconds) {
    seconds *= kSlowdown;
    auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < until) {
        std::vector<RecordDirInfo> dirs;
        RecordDiskManager::getRecordDirInfoList(dirs);
        size_t ready = 0;
        for (RecordDirInfo const& dir : dirs)
            if (dir.getStatus() == 1) ++ready;
        if (ready == m_roots.size()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

void SoakWorker::produce(Channel& channel) {
    int round = 0;
    for (;;) {
        long long until = 0;
        {
            std::unique_lock<std::mutex> lock(m_pushMutex);
            m_pushWake.wait(lock, [&] { return m_bStop || m_nPushRound != round; });
            if (m_bStop) return;
            round = m_nPushRound;
            until = m_nPushUntil;
        }
        if (channel.bInBurst) {
            Stream const& stream = *channel.pStream;
            for (;;) {
                AVData frame = stream.frames[channel.nNext];
                long long const time = channel.nBurstStart + frame.getTimeStamp() + channel.nLoops * stream.nLoop;
                if (time >= until) break;
                frame.setTimeStamp(time);
                frame.setCameraNo(channel.nCamera);
                frame.setSequenceId(++channel.nSequence);
                channel.queue->pushAVData(&frame);
                if (++channel.nNext == stream.frames.size()) {
                    channel.nNext = 0;
                    ++channel.nLoops;
                }
            }
        }
        std::lock_guard<std::mutex> lock(m_pushMutex);
        ++m_nPushed;
        m_pushWake.notify_all();
    }
}

void SoakWorker::consume(Channel& channel) {
    RecordStorage storage;
    while (!m_bStop || channel.bOpen) {
        if (channel.bWantOpen && !channel.bOpen) {
            storage.open(channel.info, false);
            storage.setTSFrameQueue(channel.queue.get());
            channel.bOpen = true;
        }
        bool any = false;
        TSAVData* block = nullptr;
        while (channel.queue->frontAVData(&block)) {
            any = true;
            if (block != nullptr) {
                long long const time = block->getTimeStamp() / 1000000;
                int const bytes = static_cast<int>(block->getDataLength());
                int const code = channel.bOpen ? storage.write(0, block) : -1;
                if (code == 0)
                    m_ledger.noteBlock(channel.nCamera, time, bytes, block->getFrameType() == FrameKind::kIFrame);
                else
                    ++channel.nFailures;
                block = nullptr;
            }
            channel.queue->popAVData();
        }
        if (!channel.bWantOpen && channel.bOpen && channel.queue->isEmpty()) {
            storage.close();
            channel.bOpen = false;
        }
        if (!any) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void SoakWorker::pushSecond(long long second) {
    std::unique_lock<std::mutex> lock(m_pushMutex);
    m_nPushUntil = (second + 1) * 1000000;
    m_nPushed = 0;
    ++m_nPushRound;
    m_pushWake.notify_all();
    m_pushWake.wait(lock, [&] { return m_nPushed == static_cast<int>(m_channels.size()); });
}

void SoakWorker::startChannels() {
    for (int i = 0; i < m_options.nChannels; ++i) {
        std::unique_ptr<Channel> channel(new Channel());
        channel->nCamera = i + 1;
        // Two main streams in HD, the rest as sub-streams.
        channel->pStream = i < 2 ? &m_hd : &m_cif;
        channel->queue.reset(new TSFrameQueue(FrameQueueSizeManager::getFrameQueueSize(m_options.nChannels)));
        channel->queue->setDeviceInfo(kDevice, channel->nCamera);
        channel->info.setDeviceId(kDevice);
        channel->info.setDeviceIP(kDeviceIP);
        channel->info.setCameraId(channel->nCamera);
        RecordDeviceInfo device;
        device.setDeviceId(kDevice);
        device.setDeviceIP(kDeviceIP);
        device.setCameraId(channel->nCamera);
        device.setRecordMode(1);
        RecordDiskManager::setRecordDevicePolicy(device, 1, true, 0, false);
        if (i < m_options.nSnapshotChannels) {
            device.setRecordMode(2);
            SnapshotDiskManagerImplEx::getInstance()->setRecordDevicePolicy(
                RecordDeviceDirPolicy(device, true, 1, 0, false));
            channel->pictureQueue.reset(new TSFrameQueue(static_cast<int>(kSnapshotFileBytes)));
            channel->pictureQueue->setSnapshot(true);
            channel->snapshots.open(channel->info, false);
        }
        m_channels.push_back(std::move(channel));
    }
    SnapshotDiskManagerImplEx::getInstance()->setDirPolicyThread();
    for (std::unique_ptr<Channel>& channel : m_channels) {
        Channel* c = channel.get();
        c->producer = std::thread([this, c] { produce(*c); });
        c->consumer = std::thread([this, c] { consume(*c); });
    }
}

void SoakWorker::stopChannels() {
    {
        std::lock_guard<std::mutex> lock(m_pushMutex);
        m_bStop = true;
        m_pushWake.notify_all();
    }
    for (std::unique_ptr<Channel>& channel : m_channels) {
        channel->bWantOpen = false;
        channel->producer.join();
        channel->consumer.join();
        channel->snapshots.close();
    }
}

// What a viewer does while the recorder records: looks for recordings and
// plays a little of them. Answers are checked at the checks; here only
// that reading keeps giving whole TS packets.
void SoakWorker::readAtRandom() {
    std::mt19937_64 random(m_options.nSeed ^ 0x5eed);
    std::vector<char> buffer(188 * 512);
    while (!m_bStop) {
        if (!m_bRecording) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            continue;
        }
        int const camera = randomIn(random, 1, m_options.nChannels);
        long long const now = HostClock::read(CLOCK_REALTIME) / 1000000;
        RecordQueryCondition const condition = conditionOf(camera, now - 7200, now);
        std::vector<RecordQueryResult> results;
        RecordRetriever retriever;
        if (retriever.query(condition, results) == 0 && !results.empty() &&
            !results[0].getRecordTimeSegmentList().empty()) {
            auto const& segments = results[0].getRecordTimeSegmentList();
            RecordTimeSegment const& segment = segments[static_cast<size_t>(randomIn(random, 0, static_cast<int>(segments.size()) - 1))];
            RecordInfo window;
            window.setDeviceId(kDevice);
            window.setDeviceIP(kDeviceIP);
            window.setCameraId(camera);
            window.setRecordBeginTime(segment.getRecordBeginTime());
            window.setRecordEndTime(segment.getRecordEndTime());
            if (retriever.open(window, false) == 0) {
                for (int i = 0; i < 4; ++i) {
                    int const n = retriever.read(buffer.data(), static_cast<int>(buffer.size()));
                    if (n <= 0) break;
                    if (n % 188 != 0 || buffer[0] != 0x47) fail("a playback read gave bytes that are not whole TS packets");
                }
                retriever.close();
            }
        }
        ++m_nReads;
    }
}

void SoakWorker::snapshot(Channel& channel, int picture) {
    std::string const& jpeg = m_pictures[static_cast<size_t>(picture)];
    long long const time = m_nClock * 1000000;
    AVData frame;
    frame.setESStreamType(1);
    frame.setEncoderType(2);
    frame.setFrameType(1);
    frame.setCameraNo(channel.nCamera);
    frame.setTimeStamp(time);
    frame.setData(jpeg.data(), static_cast<unsigned int>(jpeg.size()));
    channel.pictureQueue->pushAVData(&frame);
    TSAVData* stored = nullptr;
    while (channel.pictureQueue->frontAVData(&stored)) {
        if (stored != nullptr && channel.snapshots.write(1, stored) == 0)
            m_ledger.notePicture(channel.nCamera, time / 1000, picture);
        stored = nullptr;
        channel.pictureQueue->popAVData();
    }
}

void SoakWorker::lockOrUnlock() {
    std::vector<SoakLedger::Range> const locks = m_ledger.locks();
    RecordRetriever retriever;
    std::vector<SoakLedger::Range> held;
    for (SoakLedger::Range const& range : locks)
        if (range.bConfirmed) held.push_back(range);
    if (held.size() >= 2) {
        SoakLedger::Range const& oldest = held.front();
        RecordInfo info = m_channels[static_cast<size_t>(oldest.nChannel - 1)]->info;
        info.setRecordBeginTime(static_cast<unsigned long>(oldest.nBegin));
        info.setRecordEndTime(static_cast<unsigned long>(oldest.nEnd));
        if (retriever.unlockRecordFile(info) == 0) m_ledger.noteUnlock(oldest.nChannel, oldest.nBegin, oldest.nEnd);
        return;
    }
    int const camera = randomIn(m_random, 1, m_options.nChannels);
    std::vector<SoakLedger::Block> const blocks = m_ledger.blocksOf(camera);
    if (blocks.empty()) return;
    // A recent moment, as a user keeps what an alarm just showed.
    long long const begin = blocks[blocks.size() - 1 - static_cast<size_t>(randomIn(m_random, 0, static_cast<int>(std::min<size_t>(blocks.size(), 20)) - 1))].nTime;
    long long const end = begin + 20;
    RecordInfo info = m_channels[static_cast<size_t>(camera - 1)]->info;
    info.setRecordBeginTime(static_cast<unsigned long>(begin));
    info.setRecordEndTime(static_cast<unsigned long>(end));
    m_ledger.noteLockAsked(camera, begin, end);
    int const code = retriever.lockRecordFile(info);
    // What a lock answered 0 for shows as locked; a range reclaimed since
    // it was recorded has nothing to lock.
    RecordQueryCondition const condition = conditionOf(camera, begin, end);
    std::vector<RecordQueryResult> results;
    bool found = false;
    bool locked = false;
    // What was reclaimed before the lock is not locked: the range held
    // begins where the query first shows it locked.
    long long lockedFrom = end;
    if (code == 0 && retriever.query(condition, results) == 0)
        for (RecordQueryResult const& result : results)
            for (RecordTimeSegment const& segment : result.getRecordTimeSegmentList()) {
                // A segment that ends where the range begins holds no item
                // that begins in it: nothing of it is locked.
                if (static_cast<long long>(segment.getRecordEndTime()) <= begin) continue;
                found = true;
                if (!segment.getRecordLockFlag()) continue;
                locked = true;
                lockedFrom = std::min(lockedFrom, std::max(begin, static_cast<long long>(segment.getRecordBeginTime())));
            }
    // After the clock went back over the range, a reclaimed recording's
    // time may lie in the other's segment, whose items begin before it.
    if (found && !locked && !m_ledger.isAmbiguous(begin) && !m_ledger.isAmbiguous(end))
        fail("channel " + std::to_string(camera) + ": the lock of " + clockText(begin) +
             " answered 0 but a query shows it unlocked");
    if (locked) {
        m_ledger.noteLock(camera, lockedFrom, end);
        m_ledger.noteFault("lock");
    } else if (code != 0) {
        m_ledger.noteLockRefused(camera, begin, end);
    }
    // A lock that answered 0 with nothing to show may have locked a block of
    // under a second, which no query shows: it stays asked, so that its file
    // is not counted against the order of reclaiming.
}

// One burst of recording on every channel, with at most one fault, then a
// check when something happened.
void SoakWorker::burst() {
    ++m_nBurst;
    int const seconds = randomIn(m_random, 20, 60);
    int kind = randomIn(m_random, 0, 11);  // 0-5 a fault, else none
    int const disk = randomIn(m_random, 0, static_cast<int>(m_roots.size()) - 1);
    int const at = randomIn(m_random, 2, seconds - 3);
    int const hangFor = randomIn(m_random, 15, 40);
    char const* fault = nullptr;
    switch (kind) {
    case 0: fault = "vanish"; break;
    case 1: fault = "hang"; break;
    case 2: fault = "short write"; break;
    case 3: fault = "directory list"; break;
    case 4: fault = "day change"; break;
    case 5: fault = "clock back"; break;
    default: break;
    }
    if (kind <= 5 && m_options.strFaults.find("vhsldb"[kind]) == std::string::npos) {
        kind = 11;
        fault = nullptr;
    }
    if (kind <= 3) m_lastFault[static_cast<size_t>(disk)] = m_nBurst;
    if (fault != nullptr) m_ledger.noteFault(fault);
    if (kind == 2) m_pFaults->plan(static_cast<size_t>(disk)).shortWriteAt(randomIn(m_random, 1, 40), randomIn(m_random, 1, 4000));
    if (kind == 3) useDiskList(disk);
    if (kind == 4) {
        // Into the last seconds of the day, so the burst runs over midnight.
        long long const day = (m_nClock / 86400 + (m_nClock % 86400 > 86400 - 40 ? 1 : 0)) * 86400;
        setClock(day + 86400 - seconds / 2);
    }
    if (kind == 5) {
        long long const back = randomIn(m_random, 60, 1800);
        m_ledger.noteClockBack(m_nClock, m_nClock - back);
        setClock(m_nClock - back);
    }
    // Locks change only the disks in the list: with one taken out, a lock
    // or an unlock would hold on some disks and not on others.
    if (randomIn(m_random, 0, 4) == 0 && m_options.strFaults.find('k') != std::string::npos && kind != 3)
        lockOrUnlock();

    long long const start = m_nClock;
    for (std::unique_ptr<Channel>& channel : m_channels) {
        channel->nBurstStart = start * 1000000;
        channel->nNext = 0;
        channel->nLoops = 0;
        channel->bInBurst = true;
        channel->bWantOpen = true;
    }
    m_bRecording = true;
    for (std::unique_ptr<Channel>& channel : m_channels) {
        if (channel->pictureQueue) snapshot(*channel, m_nBurst % kPictures);
    }
    for (int s = 0; s < seconds; ++s) {
        setClock(start + s);
        if (s == at && kind == 0) m_pFaults->plan(static_cast<size_t>(disk)).vanish();
        if (s == at && kind == 1) m_pFaults->plan(static_cast<size_t>(disk)).hang();
        if (s == at + hangFor && kind == 1) m_pFaults->plan(static_cast<size_t>(disk)).release();
        pushSecond(start + s);
    }
    setClock(start + seconds);
    if (kind == 1) m_pFaults->plan(static_cast<size_t>(disk)).release();
    // An I frame closes the last group of pictures, so all of it is written.
    for (std::unique_ptr<Channel>& channel : m_channels) {
        AVData closing = channel->pStream->frames.front();
        closing.setTimeStamp((start + seconds) * 1000000);
        closing.setCameraNo(channel->nCamera);
        closing.setSequenceId(++channel->nSequence);
        channel->queue->pushAVData(&closing);
        channel->bInBurst = false;
        channel->bWantOpen = false;
    }
    auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(120 * kSlowdown);
    for (std::unique_ptr<Channel>& channel : m_channels) {
        while (channel->bOpen && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (channel->bOpen)
            fail("channel " + std::to_string(channel->nCamera) + ": the session did not close within " +
                 std::to_string(120 * kSlowdown) + " s");
    }
    m_bRecording = false;
    if (kind == 0) m_pFaults->plan(static_cast<size_t>(disk)).restore();
    if (kind == 3) useDiskList(-1);
    if (kind <= 3 && !waitUntilReady(120)) fail("disk " + std::to_string(disk + 1) + " did not come back into service");
    // The gap until the next event.
    setClock(m_nClock + randomIn(m_random, 300, 900));
    if (fault != nullptr || m_nBurst % 6 == 0) check(fault != nullptr ? fault : "routine");
}

void SoakWorker::check(char const* why) {
    m_pszStage = why;
    if (!waitUntilReady(60)) {
        fail("not every disk is in service at a check");
        return;
    }
    std::vector<bool> unsure(m_roots.size(), false);
    for (size_t d = 0; d < m_roots.size(); ++d) unsure[d] = m_nBurst - m_lastFault[d] <= kUnsureBursts;

    std::map<int, SoakLedger::Answer> answers;
    RecordRetriever retriever;
    for (std::unique_ptr<Channel> const& channel : m_channels) {
        RecordQueryCondition const condition =
            conditionOf(channel->nCamera, m_ledger.getFirstClock() - 86400, m_nClock + 86400);
        std::vector<RecordQueryResult> results;
        int const code = retriever.query(condition, results);
        if (code != 0) {
            fail("channel " + std::to_string(channel->nCamera) + ": the query failed with " + std::to_string(code));
            return;
        }
        auto segments = std::make_shared<std::vector<std::pair<long long, long long>>>();
        for (RecordQueryResult const& result : results)
            for (RecordTimeSegment const& segment : result.getRecordTimeSegmentList())
                segments->emplace_back(segment.getRecordBeginTime(), segment.getRecordEndTime());
        SoakLedger::Answer& answer = answers[channel->nCamera];
        answer.present = [segments](long long time) {
            for (auto const& segment : *segments)
                if (holdsSecond(segment.first, segment.second, time)) return true;
            return false;
        };
        // The record files as the index has them: a file a session joined
        // holds recordings long after its name's time.
        std::string const deviceDir = BasicTool::getDeviceDirString(kDevice, kDeviceIP, channel->nCamera);
        for (size_t d = 0; d < m_roots.size(); ++d) {
            RecordDirInfoEx dir;
            dir.setRecordRootDir(m_roots[d]);
            dir.setDiskType(1);
            for (std::string const& date : listDir(m_roots[d] + "/record/" + deviceDir, true)) {
                RecordIndexFileParserEx parser;
                if (parser.open(dir, date, deviceDir, 0, 0) != 1) continue;
                RecordIndexParserImplEx::FileList entries;
                parser.getRecordFileInfoList(0, 0x7FFFFFFFFFFFLL, entries);
                for (SafePointer<RecordFileInfo> const& entry : entries)
                    answer.files.push_back(SoakLedger::File{entry->getRecordBeginTime(), entry->getRecordEndTime(),
                                                            static_cast<int>(d)});
            }
        }
        std::sort(answer.files.begin(), answer.files.end(),
                  [](SoakLedger::File const& a, SoakLedger::File const& b) { return a.nBegin < b.nBegin; });
    }
    for (std::string const& violation : m_ledger.check(answers, unsure)) fail(violation);
    checkRecordFiles();
    for (int i = 0; i < 3; ++i) checkPlayback(randomIn(m_random, 1, m_options.nChannels));
    checkSnapshots(unsure);
    long long const rss = residentBytes();
    m_nRssPeak = std::max(m_nRssPeak, rss);
    if (m_nRssAfterWarmUp == 0 && m_nBurst >= 24) m_nRssAfterWarmUp = rss;
}

// On a local disk the record files are made once: however they move between
// the pool, the date folders and the bin, their number stays and none repeats.
void SoakWorker::checkRecordFiles() {
    for (size_t d = 0; d < m_roots.size(); ++d) {
        std::string const record = m_roots[d] + "/record";
        std::multiset<long long> numbers;
        auto take = [&](std::string const& name) {
            size_t digits = name.compare(0, 4, "NVR_") == 0 ? 4 : 0;
            numbers.insert(std::atoll(name.c_str() + digits));
        };
        for (std::string const& name : listDir(record + "/empty", false)) take(name);
        for (std::string const& name : listDir(record + "/recycleBin", false))
            if (name.size() > 3 && name.compare(name.size() - 3, 3, ".ts") == 0) take(name);
        for (std::string const& device : listDir(record, true)) {
            if (device == "empty" || device == "recycleBin" || device == "Index") continue;
            for (std::string const& date : listDir(record + "/" + device, true))
                for (std::string const& name : listDir(record + "/" + device + "/" + date, false))
                    if (name.size() > 3 && name.compare(name.size() - 3, 3, ".ts") == 0) take(name);
        }
        std::string const disk = "disk " + std::to_string(d + 1) + ": ";
        if (m_recordFiles[d] == 0) m_recordFiles[d] = numbers.size();
        if (numbers.size() != m_recordFiles[d])
            fail(disk + std::to_string(numbers.size()) + " record files, not " + std::to_string(m_recordFiles[d]));
        for (auto at = numbers.begin(); at != numbers.end(); at = numbers.upper_bound(*at))
            if (numbers.count(*at) > 1) fail(disk + "record file number " + std::to_string(*at) + " appears twice");
    }
}

bool SoakWorker::queryShows(int camera, long long time) {
    RecordRetriever retriever;
    std::vector<RecordQueryResult> results;
    if (retriever.query(conditionOf(camera, time - 60, time + 60), results) != 0) return true;
    for (RecordQueryResult const& result : results)
        for (RecordTimeSegment const& segment : result.getRecordTimeSegmentList())
            if (holdsSecond(segment.getRecordBeginTime(), segment.getRecordEndTime(), time)) return true;
    return false;
}

// A recorded moment plays back as TS that holds the frames pushed, in order:
// each video frame is the next of the stream, or an I frame where the queue
// dropped a group or a burst began.
void SoakWorker::checkPlayback(int camera) {
    std::vector<SoakLedger::Block> blocks = m_ledger.blocksOf(camera);
    // Playback starts at an I frame. A group of pictures split over two
    // blocks can leave its second half alone in a file after the first
    // half's file was reclaimed: the query still shows that second, and
    // playback rightly finds nothing to start from.
    std::set<long long> split;
    for (SoakLedger::Block const& b : blocks)
        if (!b.bIFrame) split.insert(b.nTime);
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                                [&](SoakLedger::Block const& b) {
                                    return b.nState != SoakLedger::kSeen || !b.bIFrame || split.count(b.nTime) != 0 ||
                                           split.count(b.nTime + 1) != 0 || m_ledger.isAmbiguous(b.nTime);
                                }),
                 blocks.end());
    if (blocks.empty()) return;
    long long const time = blocks[static_cast<size_t>(randomIn(m_random, 0, static_cast<int>(blocks.size()) - 1))].nTime;
    Channel const& channel = *m_channels[static_cast<size_t>(camera - 1)];
    RecordInfo window = channel.info;
    // From before: playback begins at the first I frame at or after the
    // window's begin, and a burst's last blocks follow their I frame. To
    // well after: playback ends where the last item beginning before the
    // window's end begins, so a window ending in a gap would leave out the
    // block before the gap.
    window.setRecordBeginTime(static_cast<unsigned long>(time - 10));
    window.setRecordEndTime(static_cast<unsigned long>(time + 60));
    RecordRetriever retriever;
    std::string const where = "channel " + std::to_string(camera) + " at " + clockText(time) + ": ";
    int const opened = retriever.open(window, false);
    // A reclaiming pass that a failing disk stopped between moving a file
    // and dropping its entry leaves an entry without its file: playback
    // answers -101 and drops the entry.
    if (opened == -101) return;
    // Reclaiming goes on while the check runs (a disk back in service
    // makes room at once): what the check's query found may be gone now.
    if (opened == OV_RECORD_NO_PREVIOUS_FILE && !queryShows(camera, time)) return;
    if (opened != 0) {
        fail(where + "playback open failed with " + std::to_string(opened));
        return;
    }
    std::string bytes;
    std::vector<char> buffer(188 * 512);
    for (int n; bytes.size() < (4u << 20) && (n = retriever.read(buffer.data(), static_cast<int>(buffer.size()))) > 0;)
        bytes.append(buffer.data(), static_cast<size_t>(n));
    retriever.close();
    TsPacketReader reader(bytes);
    for (std::string const& error : reader.getErrors())
        if (error.find("continuity") == std::string::npos) {
            fail(where + "the TS read back is broken: " + error);
            return;
        }
    Stream const& stream = *channel.pStream;
    int previous = -2;
    int frames = 0;
    // Reading stopped at the cap may have cut the last frame short.
    std::vector<TsPacketReader::Pes> const& all = reader.getPes();
    size_t usable = all.size();
    if (bytes.size() >= (4u << 20))
        while (usable > 0 && all[--usable].nStreamId != 0xE0) {
        }
    for (size_t p = 0; p < usable; ++p) {
        TsPacketReader::Pes const& pes = all[p];
        if (pes.nStreamId != 0xE0) continue;
        auto const found = stream.videoIndex.find(std::string(pes.payload.begin(), pes.payload.end()));
        if (found == stream.videoIndex.end()) {
            fail(where + "a video frame read back is none of the frames pushed");
            return;
        }
        // Where frames repeat, the one that follows wins, else an I frame.
        int index = -1;
        for (int candidate : found->second) {
            bool const next = previous >= 0 && candidate == (previous + 1) % static_cast<int>(stream.video.size());
            if (next || (index < 0 && (stream.idr[static_cast<size_t>(candidate)] || previous == -2))) index = candidate;
            if (next) break;
        }
        if (index < 0) {
            fail(where + "a video frame read back does not follow frame " + std::to_string(previous));
            return;
        }
        previous = index;
        ++frames;
    }
    if (frames == 0)
        fail(where + "no video frame read back (" + std::to_string(bytes.size()) + " bytes, " +
             std::to_string(reader.getPes().size()) + " PES)");
}

// Every picture found reads back as it was stored. Each disk gives up its
// oldest picture files first, whatever the other disks hold; and a picture
// whose data file is still there is found.
void SoakWorker::checkSnapshots(std::vector<bool> const& unsure) {
    std::map<std::string, PictureFile> present;
    for (size_t d = 0; d < m_roots.size(); ++d) {
        std::string const root = m_roots[d] + "/snapshot";
        for (std::string const& device : listDir(root, true)) {
            int const camera = std::atoi(device.c_str() + device.rfind('_') + 1);
            for (std::string const& date : listDir(root + "/" + device, true))
                for (std::string const& name : listDir(root + "/" + device + "/" + date, false)) {
                    size_t const dot = name.rfind(".mjpeg");
                    if (dot == std::string::npos || dot < 14) continue;
                    std::tm when{};
                    if (strptime(name.substr(dot - 14, 14).c_str(), "%Y%m%d%H%M%S", &when) == nullptr) continue;
                    present[root + "/" + device + "/" + date + "/" + name] =
                        PictureFile{camera, static_cast<long long>(timegm(&when)), static_cast<int>(d)};
                }
        }
    }
    // A file that was a camera's newest on its disk may have been in use
    // when the reclaiming ran: the newest begun before the last check, and
    // any begun since.
    std::map<std::pair<int, int>, long long> newest;  // (camera, disk) -> begin
    for (auto const& file : present) {
        PictureFile const& f = file.second;
        if (f.nBegin >= m_nLastSnapshotCheck) continue;
        long long& latest = newest[{f.nCamera, f.nDisk}];
        latest = std::max(latest, f.nBegin);
    }
    for (auto const& seen : m_pictureFiles) {
        if (present.count(seen.first) != 0) continue;
        PictureFile const& gone = seen.second;
        m_gonePictureFiles.insert({gone.nCamera, gone.nBegin});
        if (unsure[static_cast<size_t>(gone.nDisk)] || m_ledger.isAmbiguous(gone.nBegin)) continue;
        for (auto const& kept : present) {
            PictureFile const& k = kept.second;
            if (k.nDisk != gone.nDisk || k.nBegin >= gone.nBegin || m_pictureFiles.count(kept.first) == 0 ||
                k.nBegin >= newest[{k.nCamera, k.nDisk}] || m_ledger.isAmbiguous(k.nBegin))
                continue;
            fail("disk " + std::to_string(gone.nDisk + 1) + ": camera " + std::to_string(gone.nCamera) +
                 "'s picture file of " + clockText(gone.nBegin) + " was reclaimed while camera " +
                 std::to_string(k.nCamera) + " keeps its file of " + clockText(k.nBegin));
            break;
        }
    }
    m_pictureFiles = present;
    if (m_nFirstSnapshotCheck == 0) m_nFirstSnapshotCheck = m_nClock;
    m_nLastSnapshotCheck = m_nClock;

    SnapshotRetriever retriever;
    for (std::unique_ptr<Channel> const& channel : m_channels) {
        if (!channel->pictureQueue) continue;
        std::map<long long, int> const stored = m_ledger.picturesOf(channel->nCamera);
        if (stored.empty()) continue;
        SnapshotQueryCondition condition;
        condition.setDeviceId(kDevice);
        condition.setDeviceIP(kDeviceIP);
        condition.setCameraId(channel->nCamera);
        condition.setBeginTime(stored.begin()->first);
        condition.setEndTime(stored.rbegin()->first + 1);
        std::vector<SnapshotFile> found;
        std::string const where = "channel " + std::to_string(channel->nCamera) + ": ";
        int const code = retriever.query(condition, found);
        if (code != 0) {
            fail(where + "the snapshot query failed with " + std::to_string(code));
            continue;
        }
        // The camera's data files, there or gone: a picture lies in the
        // latest one begun at or before it. Files gone before this worker
        // first looked are unknown, so only later pictures are judged.
        std::map<long long, std::string> files;  // begin -> path, empty when gone
        for (auto const& gone : m_gonePictureFiles)
            if (gone.first == channel->nCamera) files[gone.second];
        for (auto const& file : present)
            if (file.second.nCamera == channel->nCamera) files[file.second.nBegin] = file.first;
        // Reclaiming moves a data file before it drops the file's entry: a
        // power cut or a failing disk between the two leaves entries whose
        // pictures cannot be opened until the next pass removes them.
        auto const holderOf = [&](long long ms) {
            auto const after = files.upper_bound(ms / 1000);
            return after == files.begin() ? files.end() : std::prev(after);
        };
        auto const dataFileGone = [&](long long ms) {
            auto const holder = holderOf(ms);
            return holder == files.end() || holder->second.empty() || access(holder->second.c_str(), F_OK) != 0 ||
                   m_ledger.isAmbiguous(ms / 1000);
        };
        std::set<long long> times;
        std::vector<char> piece(1 << 16);
        for (SnapshotFile const& file : found) {
            times.insert(file.getTime());
            auto const shot = stored.find(file.getTime());
            std::string bytes;
            int n = retriever.open(file.getFileName().c_str());
            if (n == 0)
                while ((n = retriever.read(piece.data(), static_cast<int>(piece.size()))) > 0)
                    bytes.append(piece.data(), static_cast<size_t>(n));
            retriever.close();
            if (n == OV_RECORD_PICTURE_OPEN_FAILED && dataFileGone(file.getTime())) continue;
            if (n < 0) fail(where + "snapshot " + file.getFileName() + " cannot be read: " + std::to_string(n));
            // Two pictures share a time after the clock went back.
            else if (shot != stored.end() && !m_ledger.isAmbiguous(file.getTime() / 1000) &&
                     bytes != m_pictures[static_cast<size_t>(shot->second)])
                fail(where + "snapshot " + file.getFileName() + " does not read back as stored");
        }
        // The writer holds index items until its flush interval passed.
        std::set<long long> const settled = m_ledger.settledPicturesOf(channel->nCamera);
        for (auto const& shot : stored) {
            if (shot.first / 1000 < m_nFirstSnapshotCheck || times.count(shot.first) != 0 ||
                settled.count(shot.first) == 0 || m_ledger.isAmbiguous(shot.first / 1000))
                continue;
            // After the clock went back, a later file may begin earlier.
            auto const holder = holderOf(shot.first);
            if (holder == files.end() || holder->second.empty() || m_ledger.wentBack(holder->first, shot.first / 1000))
                continue;
            fail(where + "the snapshot stored at " + clockText(shot.first / 1000) + " is not found, though " +
                 holder->second + " is there");
        }
    }
}

int SoakWorker::run() {
    std::string const work = m_options.strWork;
    // The engine's console lines go to a file of the run.
    if (std::freopen((work + "/engine-console.txt").c_str(), "a", stdout) == nullptr) return 1;
    HostPaths::setRoot(work + "/host");
    std::string const config = HostPaths::getConfigDir();
    std::system(("mkdir -p '" + config + "'").c_str());
    std::ofstream(config + "/storageparam.ini") << "RecordFileSegmentSize=" << m_options.nFileMiB << "\n";
    StorageParameterManage::getInstance()->initStorageParameter();
    if (!m_ledger.open(work + "/ledger.txt")) {
        std::fprintf(stderr, "soak: cannot write the ledger in %s\n", work.c_str());
        return 1;
    }
    int const generation = m_ledger.getGeneration() + 1;
    m_random.seed(m_options.nSeed * 1000003ULL + static_cast<unsigned long long>(generation));
    if (!loadStream(m_options.strTestData, "hd25_gop25_10s.h264", 1280, 720, m_hd) ||
        !loadStream(m_options.strTestData, "cif25_gop50_20s.h264", 640, 360, m_cif)) {
        std::fprintf(stderr, "soak: cannot read the test streams in %s\n", m_options.strTestData.c_str());
        return 1;
    }
    for (int n = 1; n <= kPictures; ++n) {
        std::ifstream in(m_options.strTestData + "/snapshots/snap" + std::to_string(n) + ".jpg", std::ios::binary);
        m_pictures.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    for (int d = 1; d <= m_options.nDisks; ++d) {
        m_roots.push_back(work + "/disk" + std::to_string(d));
        std::system(("mkdir -p '" + m_roots.back() + "'").c_str());
    }
    m_lastFault.assign(m_roots.size(), -100);
    m_recordFiles.assign(m_roots.size(), 0);
    // A sanitizer's runtime starts a thread of its own with the first
    // thread made: make one before counting.
    std::thread([] {}).join();
    int const threadsBefore = countThreads();
    m_pFaults.reset(new DiskFaults(m_roots));

    // After a power cut the recorder comes back some minutes later.
    m_ledger.noteStart(generation);
    setClock(m_ledger.getClock() == 0 ? kFirstClock : m_ledger.getClock() + randomIn(m_random, 60, 600));
    RecordDiskManager::start();
    useDiskList(-1);
    std::vector<RecordDirInfoEx> snapshotDirs;
    std::vector<RecordDirInfo> hostList;
    for (RecordDirInfo const& disk : diskList(-1)) {
        RecordDirInfoEx dir;
        dir.setRecordRootDir(disk.getDiskName());
        dir.setRecordDiskName(disk.getDiskName());
        dir.setDiskType(1);
        dir.setFileSegmentSize(kSnapshotFileBytes);
        dir.setEnableFlag(true);
        dir.setUseableSpace(32LL << 20);
        snapshotDirs.push_back(dir);
        hostList.push_back(RecordDirInfoEx::changeToRecordDirInfo(dir));
    }
    SnapshotDiskManagerImplEx::getInstance()->start();
    SnapshotDiskManagerImplEx::getInstance()->setRecordDirInfoList(snapshotDirs);
    SnapshotRetriever::setSnapshotDirList(hostList);
    startChannels();
    if (!waitUntilReady(120)) fail("the disks did not come into service");
    // A restart after a power cut is a fault like any other.
    if (generation > 1) check("power cut");
    m_reader = std::thread([this] { readAtRandom(); });

    while (m_nViolations == 0 && wallNow() < m_options.nUntil) burst();

    if (m_nViolations == 0) check("end");
    stopChannels();
    m_reader.join();
    RecordDiskManager::stop();
    SnapshotDiskManagerImplEx::getInstance()->stop();
    m_pFaults.reset();
    // Every thread the engine started ends with stop.
    for (int i = 0; i < 100 && countThreads() != threadsBefore; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (countThreads() != threadsBefore)
        fail(std::to_string(countThreads() - threadsBefore) + " thread(s) still run after stop");
    if (m_nRssAfterWarmUp > 0 && m_nRssPeak > m_nRssAfterWarmUp + std::max(32LL << 20, m_nRssAfterWarmUp / 4))
        fail("memory grew from " + std::to_string(m_nRssAfterWarmUp >> 20) + " MiB after warm-up to " +
             std::to_string(m_nRssPeak >> 20) + " MiB");
    long long refused = 0;
    for (std::unique_ptr<Channel> const& channel : m_channels) refused += channel->nFailures;
    std::fprintf(stderr, "soak worker %d: %d bursts, %lld blocks refused, %lld playback reads, clock %s, RSS %lld MiB\n",
                 generation, m_nBurst, refused, static_cast<long long>(m_nReads), clockText(m_nClock).c_str(),
                 residentBytes() >> 20);
    return m_nViolations == 0 ? 0 : 1;
}

}  // namespace

int runSoakWorker(SoakOptions const& options) {
    setenv("TZ", "UTC", 1);
    tzset();
    SoakWorker worker(options);
    return worker.run();
}
