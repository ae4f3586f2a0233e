// Preallocating a record pool: 1 GiB as 16 files of 64 MiB through
// EmptyDirManager::allocRecordSpace, beside `fallocate -l 1G` of one file in
// the same folder, as the command and as the bare fallocate(2) call (alone,
// and followed by the syncs the pool makes per file: fdatasync, folder
// fsync). Goal: the pool within 2x of the command.
//
// The folder is $RECSTORE_BENCH_DIR, else $TMPDIR, else /tmp; a folder on
// tmpfs is refused, as it has no blocks to reserve. RECSTORE_BENCH_ITERATIONS
// fixes the number of rounds.
#include <benchmark/benchmark.h>

#include "bench/BenchSupport.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "directory/EmptyDirManager.h"
#include "host/DiskManager.h"
#include "host/DiskManagerFactory.h"
#include "host/HostPaths.h"

namespace {

constexpr long long kFileSize = 64LL << 20;
constexpr int kFiles = 16;
constexpr long long kTotal = kFileSize * kFiles;
constexpr long kTmpfsMagic = 0x01021994;

// A fresh folder on a real disk, or "" after reporting why not.
std::string makeFolder(benchmark::State& state) {
    std::string folder = benchFolder("pool-bench");
    benchDisk()->deleteFile(folder.c_str(), true);
    benchDisk()->createDir(folder.c_str());
    struct statfs info {};
    if (statfs(folder.c_str(), &info) != 0 || static_cast<long>(info.f_type) == kTmpfsMagic) {
        state.SkipWithError("bench folder missing or on tmpfs");
        return "";
    }
    HostPaths::setRoot(folder + "/host");
    return folder;
}

void BM_PoolAllocRecordSpace(benchmark::State& state) {
    std::string const folder = makeFolder(state);
    if (folder.empty()) return;
    std::string const record = folder + "/record";
    for (auto _ : state) {
        state.PauseTiming();
        benchDisk()->deleteFile(record.c_str(), true);
        benchDisk()->syncDir(folder.c_str());  // the last round's deletion is not this round's cost
        EmptyDirManager pool(kFileSize, 1, record, "NVR", 1, 16);
        pool.init(0);
        pool.setMaxFileNumber(kFiles);
        state.ResumeTiming();
        if (pool.allocRecordSpace() != kFiles - 1) state.SkipWithError("fill stopped short");
    }
    benchDisk()->deleteFile(folder.c_str(), true);
    state.SetBytesProcessed(state.iterations() * kTotal);
}
BENCHMARK(BM_PoolAllocRecordSpace)->Apply(benchRounds);

// Arg 0: the fallocate call alone, as `fallocate -l 1G` makes it; 1: with
// the syncs that make the file durable, as the pool makes each of its files.
void BM_FallocateOneFile(benchmark::State& state) {
    std::string const folder = makeFolder(state);
    if (folder.empty()) return;
    std::string const path = folder + "/one";
    bool const synced = state.range(0) == 1;
    for (auto _ : state) {
        state.PauseTiming();
        ::unlink(path.c_str());
        benchDisk()->syncDir(folder.c_str());
        state.ResumeTiming();
        int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        bool ok = fd >= 0 && ::fallocate(fd, 0, 0, kTotal) == 0;
        if (ok && synced) ok = ::fdatasync(fd) == 0 && DiskManager::syncParentOf(path.c_str());
        if (fd >= 0) ::close(fd);
        if (!ok) state.SkipWithError("fallocate failed");
    }
    benchDisk()->deleteFile(folder.c_str(), true);
    state.SetBytesProcessed(state.iterations() * kTotal);
}
BENCHMARK(BM_FallocateOneFile)->ArgName("synced")->Arg(0)->Arg(1)->Apply(benchRounds);

}  // namespace

extern "C" char** environ;

// The command as a shell user runs it, its start included.
void BM_FallocateCommand(benchmark::State& state) {
    std::string const folder = makeFolder(state);
    if (folder.empty()) return;
    std::string path = folder + "/one";
    char* argv[] = {const_cast<char*>("fallocate"), const_cast<char*>("-l"), const_cast<char*>("1G"), &path[0], nullptr};
    for (auto _ : state) {
        state.PauseTiming();
        ::unlink(path.c_str());
        benchDisk()->syncDir(folder.c_str());
        state.ResumeTiming();
        pid_t child = 0;
        int status = 0;
        if (posix_spawnp(&child, "fallocate", nullptr, nullptr, argv, environ) != 0 ||
            ::waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
            state.SkipWithError("fallocate command failed");
    }
    benchDisk()->deleteFile(folder.c_str(), true);
    state.SetBytesProcessed(state.iterations() * kTotal);
}
BENCHMARK(BM_FallocateCommand)->Apply(benchRounds);
