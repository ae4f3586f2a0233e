#ifndef BENCH_BENCHSUPPORT_H
#define BENCH_BENCHSUPPORT_H

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "host/DiskManager.h"
#include "host/DiskManagerFactory.h"

// A folder of this process for one benchmark: under $RECSTORE_BENCH_DIR,
// else $TMPDIR, else /tmp.
inline std::string benchFolder(char const* name) {
    char const* dir = std::getenv("RECSTORE_BENCH_DIR");
    if (dir == nullptr || *dir == '\0') dir = std::getenv("TMPDIR");
    std::string base = (dir == nullptr || *dir == '\0') ? "/tmp" : dir;
    return base + "/recstore-" + name + "-" + std::to_string(getpid());
}

inline DiskManager* benchDisk() { return static_cast<DiskManager*>(DiskManagerFactory::getDiskManager(1, 0)); }

// Milliseconds of wall time; RECSTORE_BENCH_ITERATIONS fixes the rounds.
inline void benchRounds(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMillisecond)->UseRealTime();
    char const* value = std::getenv("RECSTORE_BENCH_ITERATIONS");
    if (value != nullptr && std::atoi(value) > 0) bench->Iterations(std::atoi(value));
}

#endif
