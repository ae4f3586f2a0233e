// Starting a local disk's directory over the tree an earlier run left: an
// HDDirWithIndex holding 4096 record files (16 KiB each), of which 16
// devices x 31 dates x 2 were recorded through the real writer and index, is
// made and driven by detectDirStatus until isWritable. The tree is made
// once, before timing; the directory's useable space is bounded to those
// 4096 files, so init finds nothing left to preallocate.
//
// Every file the engine opens comes from a counting IFile (FileFactory's
// test hook): bytes_read is what init read through IFile (the version
// file's XML is read round it, by the host's XML tool), index_opens the opens
// of ".index" files, max_index_opens the opens of the most-opened one. A
// round that opens one index file twice fails the benchmark. A counting disk
// manager gives listings (folder listings and scans) and names_listed.
//
// The folder is $RECSTORE_BENCH_DIR, else $TMPDIR, else /tmp.
// RECSTORE_BENCH_ITERATIONS fixes the number of rounds.
#include <benchmark/benchmark.h>

#include "bench/BenchSupport.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "directory/HDDirWithIndex.h"
#include "foundation/AVStreamInfo.h"
#include "foundation/BasicTool.h"
#include "host/DiskManager.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/HostPaths.h"
#include "host/PosixFile.h"
#include "recording/TSRecordWriterWithIndex.h"
#include "tests/support/TestBlock.h"

namespace {

constexpr long long kSegment = 16 << 10;
constexpr int kFiles = 4096;
constexpr int kDevices = 16;
constexpr int kDates = 31;
constexpr int kFilesPerDate = 2;
constexpr long long kFirstDay = 1704110400;  // 2024-01-01 12:00 UTC

// Opens and bytes read per path, for every file of every thread.
class ReadCounter {
public:
    void opened(std::string const& path) {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_opens[path];
    }
    void read(int bytes) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_nBytes += bytes;
    }
    void clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_opens.clear();
        m_nBytes = 0;
        m_nListings = 0;
        m_nNames = 0;
    }
    // Opens of ".index" files in all, and of the most-opened one.
    void indexOpens(long long& all, int& most) {
        std::lock_guard<std::mutex> lock(m_mutex);
        all = 0;
        most = 0;
        for (auto const& entry : m_opens) {
            std::string const& path = entry.first;
            if (path.size() < 6 || path.compare(path.size() - 6, 6, ".index") != 0) continue;
            all += entry.second;
            most = std::max(most, entry.second);
        }
    }
    long long bytes() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_nBytes;
    }
    void listed(int names) {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_nListings;
        m_nNames += names > 0 ? names : 0;
    }
    void listings(long long& calls, long long& names) {
        std::lock_guard<std::mutex> lock(m_mutex);
        calls = m_nListings;
        names = m_nNames;
    }

private:
    std::mutex m_mutex;
    std::map<std::string, int> m_opens;
    long long m_nBytes = 0;
    long long m_nListings = 0;
    long long m_nNames = 0;
};

ReadCounter g_counter;

class CountingFile : public PosixFile {
public:
    bool open(char const* name, int mode) override {
        g_counter.opened(name);
        return PosixFile::open(name, mode);
    }
    int read(char* buffer, int length) override {
        int done = PosixFile::read(buffer, length);
        if (done > 0) g_counter.read(done);
        return done;
    }
};

class CountingDiskManager : public DiskManager {
public:
    int getFileList(char const* dir, std::vector<std::string>& list, char const* filter, int limit) override {
        int names = DiskManager::getFileList(dir, list, filter, limit);
        g_counter.listed(names);
        return names;
    }
    int scanFiles(char const* dir, IFileScanAction* action, char const* pattern) override {
        int names = DiskManager::scanFiles(dir, action, pattern);
        g_counter.listed(names);
        return names;
    }
    int getDirList(char const* dir, std::vector<std::string>& list) override {
        int names = DiskManager::getDirList(dir, list);
        g_counter.listed(names);
        return names;
    }
};

RecordDirInfoEx dirInfo(std::string const& root) {
    RecordDirInfoEx info;
    info.setRecordRootDir(root);
    info.setRecordDiskName("sda1");
    info.setDiskType(1);
    info.setEnableFlag(true);
    info.setFileSegmentSize(kSegment);
    // Room for kFiles after the 5 % init keeps back.
    info.setUseableSpace(kFiles * kSegment * 100 / 95 + 1);
    return info;
}

bool becomeReady(HDDirWithIndex& dir) {
    for (int round = 0; round < 3 && !dir.isWritable(); ++round) dir.detectDirStatus();
    return dir.isWritable();
}

// One block of a camera recorded as a session would: a file from the
// directory, written and closed by the real writer, entered in the index.
bool recordOne(HDDirWithIndex& dir, int camera, long long begin) {
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    file->setDeviceId("NVR");
    file->setDeviceIP("10.0.0.7");
    file->setCameraId(camera);
    file->setRecordDate(BasicTool::getDateString(begin));
    file->setRecordBeginTime(begin);
    file->setRecordDirInfoEx(dir.getRecordDirInfoEx());
    TestBlock block(1, 1, begin, 2, static_cast<char>('a' + camera));
    file->setAVStreamInfo(AVStreamInfo(&block.data));
    dir.setDeviceRequetType(file->getRecordDeviceInfo(), 0);
    if (dir.createFile(file) != 0) return false;
    TSRecordWriterWithIndex writer;
    int held = -1;
    bool ok = writer.open(file, held) == 0 && writer.write(&block.data, false, 0) == 0;
    writer.close();
    return ok;
}

// The tree of an earlier run; false if it could not be made. A hard disk's
// index pool holds one file per ten record files, fewer than the days of 16
// devices in 4096 files: the pool is topped up with blanks as it makes them,
// enough for every day and a pool as init would fill it.
bool makeTree(RecordDirInfoEx const& info) {
    std::string const record = info.getRecordRootDir() + "/record";
    benchDisk()->createDir(record.c_str());
    IndexDirManager pool(HDDirWithIndex::kIndexFileSize, info.getDiskType(), record);
    if (!pool.init(0)) return false;
    for (int n = 0; n < kDevices * kDates + kFiles / 10; ++n)
        if (!pool.fillEmptyIndexFile(n)) return false;
    HDDirWithIndex dir(info, 1, "NVR", 1);
    if (!becomeReady(dir)) return false;
    for (int day = 0; day < kDates; ++day)
        for (int camera = 1; camera <= kDevices; ++camera)
            for (int n = 0; n < kFilesPerDate; ++n)
                if (!recordOne(dir, camera, kFirstDay + day * 86400LL + n * 600)) return false;
    return true;
}

// The tree, made once per process on first use and removed at its end.
struct Tree {
    std::string folder = benchFolder("init-bench");
    RecordDirInfoEx info = dirInfo(folder + "/sda1");
    bool made = false;
    Tree() {
        setenv("TZ", "UTC", 1);
        tzset();
        benchDisk()->deleteFile(folder.c_str(), true);
        benchDisk()->createDir(folder.c_str());
        HostPaths::setRoot(folder + "/host");
        benchDisk()->createDir(info.getRecordRootDir().c_str());
        made = makeTree(info);
    }
    ~Tree() { benchDisk()->deleteFile(folder.c_str(), true); }
};

void BM_HDDirWithIndexInit(benchmark::State& state) {
    static Tree tree;
    if (!tree.made) {
        state.SkipWithError("the tree could not be made");
        return;
    }
    RecordDirInfoEx const& info = tree.info;
    FileFactory::setFileCreator([](int, int, int) -> IFile* { return new CountingFile(); });
    static CountingDiskManager counting;
    DiskManagerFactory::setDiskManager(-1, &counting);
    long long bytes = 0;
    long long listings = 0;
    long long names = 0;
    long long indexOpens = 0;
    int most = 0;
    for (auto _ : state) {
        g_counter.clear();
        std::unique_ptr<HDDirWithIndex> dir(new HDDirWithIndex(info, 1, "NVR", 1));
        bool const ready = becomeReady(*dir);
        state.PauseTiming();
        int total = 0, free = 0;
        dir->getDirFileNumber(total, free);
        dir.reset();
        bytes += g_counter.bytes();
        long long opens = 0;
        int mostThisRound = 0;
        g_counter.indexOpens(opens, mostThisRound);
        indexOpens += opens;
        long long calls = 0, listed = 0;
        g_counter.listings(calls, listed);
        listings += calls;
        names += listed;
        most = std::max(most, mostThisRound);
        state.ResumeTiming();
        if (!ready || total != kFiles) state.SkipWithError("not ready, or not the tree's files");
        if (mostThisRound > 1) state.SkipWithError("init opened an index file more than once");
    }
    FileFactory::resetFileCreator();
    DiskManagerFactory::resetDiskManagers();
    double const rounds = static_cast<double>(std::max<long long>(state.iterations(), 1));
    state.counters["bytes_read"] = static_cast<double>(bytes) / rounds;
    state.counters["index_opens"] = static_cast<double>(indexOpens) / rounds;
    state.counters["max_index_opens"] = most;
    state.counters["listings"] = static_cast<double>(listings) / rounds;
    state.counters["names_listed"] = static_cast<double>(names) / rounds;
}

BENCHMARK(BM_HDDirWithIndexInit)->Apply(benchRounds);

}  // namespace
