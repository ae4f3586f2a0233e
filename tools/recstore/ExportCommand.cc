// recstore export: a time window of one device, read through the playback
// reader across files and disks, into one TS file.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "foundation/ReturnCode.h"
#include "retrieval/RecordRetriever.h"
#include "tools/recstore/Recstore.h"

namespace recstore {

namespace {

char const kName[] = "export";

// One line redrawn in place on a terminal; nothing when stderr is a file.
void progress(long long done, long long total) {
    if (isatty(2) == 0 || total <= 0) return;
    int const width = 40;
    long long const shown = std::min(done, total);
    int const filled = static_cast<int>(width * shown / total);
    std::fprintf(stderr, "\r[%s%s] %3lld%%  %.1f MB", std::string(filled, '#').c_str(),
                 std::string(width - filled, ' ').c_str(), 100 * shown / total, done / 1048576.0);
}

// The bytes the index holds for the window: what the progress runs up to.
long long expectedBytes(RecordRetriever& retriever, RecordInfo const& device) {
    RecordQueryCondition condition;
    condition.setDeviceId(device.getDeviceId());
    condition.setDeviceIP(device.getDeviceIP());
    condition.setCameraId(device.getCameraId());
    condition.setRecordBeginTime(device.getRecordBeginTime());
    condition.setRecordEndTime(device.getRecordEndTime());
    std::vector<RecordQueryResult> results;
    long long total = 0;
    if (retriever.queryRecordWithDataLen(condition, results) != 0) return 0;
    for (RecordQueryResult const& result : results)
        for (RecordTimeSegment const& segment : result.getRecordTimeSegmentList())
            total += static_cast<long long>(segment.getRecordDataLength());
    return total;
}

}  // namespace

int runExport(std::vector<std::string> const& argv) {
    Args args;
    std::string error;
    if (!args.parse(argv, {"--device", "--from", "--to"}, {}, error)) return fail(kName, kUsage, error);
    RecordInfo device;
    int const parsed = parseRange(kName, args, device);
    if (parsed != kOk) return parsed;
    std::vector<std::string> roots = args.positional();
    if (roots.size() < 2) return fail(kName, kUsage, "give the record roots and then OUT.ts");
    std::string const target = roots.back();
    roots.pop_back();
    std::vector<RecordDirInfoEx> dirs;
    if (!openRoots(roots, dirs, error)) return fail(kName, kFailed, error);

    RecordRetriever retriever;
    long long const expected = expectedBytes(retriever, device);
    int code = retriever.open(device, false);
    if (code != 0) {
        return fail(kName, kFailed, "nothing recorded of " + args.get("--device") + " in that window (" +
                                        std::to_string(code) + ")");
    }
    FILE* file = std::fopen(target.c_str(), "wb");
    if (file == nullptr) return fail(kName, kFailed, "cannot write " + target);
    std::vector<char> buffer(1 << 20);
    long long bytes = 0;
    int n = 0;
    while ((n = retriever.read(buffer.data(), static_cast<int>(buffer.size()))) > 0) {
        if (std::fwrite(buffer.data(), 1, static_cast<size_t>(n), file) != static_cast<size_t>(n)) {
            std::fclose(file);
            return fail(kName, kFailed, "cannot write " + target);
        }
        bytes += n;
        progress(bytes, expected);
    }
    retriever.close();
    if (isatty(2) != 0) std::fprintf(stderr, "\n");
    if (std::fclose(file) != 0) return fail(kName, kFailed, "cannot write " + target);
    // -9: the device is recording and the window reaches the live end.
    if (n < 0 && n != -9) return fail(kName, kFailed, "read failed (" + std::to_string(n) + ")");
    if (bytes == 0) return fail(kName, kFailed, "nothing was read of " + args.get("--device"));
    std::fprintf(out(), "%s: %lld bytes of %s from %s to %s\n", target.c_str(), bytes, args.get("--device").c_str(),
                timeText(device.getRecordBeginTime()).c_str(), timeText(device.getRecordEndTime()).c_str());
    return kOk;
}

}  // namespace recstore
