// recstore snap ls | get: a device's snapshots of a time window, listed or
// written out as .jpg files, through the snapshot retriever.

#include <cstdio>
#include <string>
#include <vector>

#include "foundation/BasicTool.h"
#include "snapshot/SnapshotRetriever.h"
#include "tools/recstore/Recstore.h"

namespace recstore {

namespace {

char const kName[] = "snap";

// Roots holding "snapshot": the snapshot retriever's directory list.
bool openSnapshotRoots(std::vector<std::string> const& roots, std::string& error) {
    std::vector<RecordDirInfoEx> dirs;
    std::vector<RecordDirInfo> list;
    if (!describeRoots(roots, BasicTool::kSnapshotDirName, dirs, list, error)) return false;
    SnapshotRetriever::setSnapshotDirList(list);
    return true;
}

std::string pictureTime(long long ms) {
    char fraction[8];
    std::snprintf(fraction, sizeof(fraction), ".%03lld", ms % 1000);
    return timeText(static_cast<unsigned long>(ms / 1000)) + fraction;
}

}  // namespace

int runSnap(std::vector<std::string> const& argv) {
    if (argv.empty() || (argv[0] != "ls" && argv[0] != "get"))
        return fail(kName, kUsage, "snap ls or snap get (recstore snap --help)");
    bool const get = argv[0] == "get";
    Args args;
    std::string error;
    if (!args.parse(std::vector<std::string>(argv.begin() + 1, argv.end()), {"--device", "--from", "--to"}, {}, error))
        return fail(kName, kUsage, error);
    RecordInfo device;
    if (!args.has("--device") || !parseDeviceKey(args.get("--device"), device))
        return fail(kName, kUsage, "--device ID_IP_CAMERA is needed");
    unsigned long from = 0;
    unsigned long to = 0;
    if ((args.has("--from") && !parseTime(args.get("--from"), from)) ||
        (args.has("--to") && !parseTime(args.get("--to"), to))) {
        return fail(kName, kUsage, "--from and --to take \"YYYY-MM-DD HH:MM:SS\"");
    }
    if (args.has("--to") && to <= from) return fail(kName, kFailed, "--to must come after --from");
    std::vector<std::string> roots = args.positional();
    std::string folder;
    if (get) {
        if (roots.size() < 2) return fail(kName, kUsage, "give the snapshot roots and then the folder to write to");
        folder = roots.back();
        roots.pop_back();
    }
    if (!openSnapshotRoots(roots, error)) return fail(kName, kFailed, error);

    SnapshotQueryCondition condition;
    condition.setDeviceId(device.getDeviceId());
    condition.setDeviceIP(device.getDeviceIP());
    condition.setCameraId(device.getCameraId());
    condition.setBeginTime(static_cast<long long>(from) * 1000);
    condition.setEndTime(args.has("--to") ? static_cast<long long>(to) * 1000 : 0x7FFFFFFFFFFFFFFFLL);
    SnapshotRetriever retriever;
    std::vector<SnapshotFile> pictures;
    int const code = retriever.query(condition, pictures);
    if (code != 0) return fail(kName, kFailed, "query failed (" + std::to_string(code) + ")");
    if (pictures.empty()) return fail(kName, kFailed, "no snapshot of " + args.get("--device") + " in that window");
    if (!get) {
        for (SnapshotFile const& picture : pictures) {
            std::fprintf(out(), "%s  %8d  %s\n", pictureTime(picture.getTime()).c_str(), picture.getLength(),
                         picture.getFileName().c_str());
        }
        return kOk;
    }
    std::vector<char> piece(1 << 16);
    for (SnapshotFile const& picture : pictures) {
        std::string target = folder + "/" + picture.getFileName();
        if (target.size() < 4 || target.compare(target.size() - 4, 4, ".jpg") != 0) target += ".jpg";
        int n = retriever.open(picture.getFileName().c_str());
        FILE* file = n == 0 ? std::fopen(target.c_str(), "wb") : nullptr;
        if (file == nullptr) {
            retriever.close();
            return fail(kName, kFailed, n != 0 ? "cannot read " + picture.getFileName() + " (" + std::to_string(n) + ")"
                                               : "cannot write " + target);
        }
        bool written = true;
        while ((n = retriever.read(piece.data(), static_cast<int>(piece.size()))) > 0)
            written = written && std::fwrite(piece.data(), 1, static_cast<size_t>(n), file) == static_cast<size_t>(n);
        retriever.close();
        if (std::fclose(file) != 0 || !written || n < 0)
            return fail(kName, kFailed, "cannot write " + target + (n < 0 ? " (read " + std::to_string(n) + ")" : ""));
        std::fprintf(out(), "%s\n", target.c_str());
    }
    return kOk;
}

}  // namespace recstore
