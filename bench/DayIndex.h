#ifndef BENCH_DAYINDEX_H
#define BENCH_DAYINDEX_H

// A full day's index for each of 64 channels on one disk: 24 hours of
// one-second items in 144 entries of ten minutes, a 1 MiB index file per
// channel "NVR_10.0.0.2_<1..64>". Record files are not made; the index alone
// is what searches read.

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/HostPaths.h"
#include "index/RecordIndexFileParserEx.h"
#include "tests/index/RecordIndexImageBuilder.h"

namespace DayIndex {

char const* const kDate = "2024-01-31";
constexpr long long kDayBegin = 1706659200LL;
constexpr int kChannels = 64;
constexpr int kEntries = 144;
constexpr int kItemsPerEntry = 600;

// Writes the indexes once, into a folder of their own; its root, or "" if
// it could not be written.
inline std::string const& dayIndexRoot() {
    static std::string root;
    if (!root.empty()) return root;
    char folder[] = "/tmp/record_index_bench.XXXXXX";
    if (mkdtemp(folder) == nullptr) return root;
    HostPaths::setRoot(folder);  // logs
    RecordIndexImageBuilder builder;
    for (int i = 0; i < kEntries; ++i) {
        char name[64];
        std::snprintf(name, sizeof(name), "%05d-NVR_10.0.0.2_1_%d.ts", i, i);
        builder.addEntry(name, kDayBegin + 600LL * i,
                         RecordIndexImageBuilder::steadyItems(kItemsPerEntry, 1, 250));
    }
    std::string const image = builder.image(RecordIndexCodec::kMaxIndexFileSize, '\0');
    for (int channel = 1; channel <= kChannels; ++channel) {
        std::string const device = "NVR_10.0.0.2_" + std::to_string(channel);
        std::string const path = RecordIndexFileParserEx::getIndexFileName(folder, kDate, device, 0);
        std::string const command = "mkdir -p '" + path.substr(0, path.rfind('/')) + "'";
        if (std::system(command.c_str()) != 0) return root;
        FILE* file = std::fopen(path.c_str(), "wb");
        if (file == nullptr) return root;
        bool const ok = std::fwrite(image.data(), 1, image.size(), file) == image.size();
        if (std::fclose(file) != 0 || !ok) return root;
    }
    root = folder;
    // 64 MiB of index: gone when the benchmark program ends.
    std::atexit([] { std::system(("rm -rf '" + dayIndexRoot() + "'").c_str()); });
    return root;
}

}  // namespace DayIndex

#endif
