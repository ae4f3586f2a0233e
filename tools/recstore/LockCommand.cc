// recstore lock / unlock: the items of a device over a time range, on every
// root, so that reclamation spares them (or may take them again).

#include <cstdio>
#include <string>
#include <vector>

#include "retrieval/RecordRetriever.h"
#include "tools/recstore/Recstore.h"

namespace recstore {

namespace {

int change(char const* name, std::vector<std::string> const& argv, bool lock) {
    Args args;
    std::string error;
    if (!args.parse(argv, {"--device", "--from", "--to"}, {}, error)) return fail(name, kUsage, error);
    RecordInfo range;
    if (!args.has("--device") || !parseDeviceKey(args.get("--device"), range))
        return fail(name, kUsage, "--device ID_IP_CAMERA is needed");
    unsigned long from = 0;
    unsigned long to = 0;
    if (!parseTime(args.get("--from"), from) || !parseTime(args.get("--to"), to))
        return fail(name, kUsage, "--from and --to take \"YYYY-MM-DD HH:MM:SS\"");
    if (to <= from) return fail(name, kFailed, "--to must come after --from");
    std::vector<RecordDirInfoEx> dirs;
    if (!openRoots(args.positional(), dirs, error)) return fail(name, kFailed, error);
    range.setRecordBeginTime(from);
    range.setRecordEndTime(to);
    RecordRetriever retriever;
    int const code = lock ? retriever.lockRecordFile(range) : retriever.unlockRecordFile(range);
    if (code != 0) {
        return fail(name, kFailed, std::string(lock ? "lock" : "unlock") + " of " + args.get("--device") +
                                       " failed (" + std::to_string(code) + ")");
    }
    std::fprintf(out(), "%s %s from %s to %s\n", lock ? "locked" : "unlocked", args.get("--device").c_str(),
                timeText(from).c_str(), timeText(to).c_str());
    return kOk;
}

}  // namespace

int runLock(std::vector<std::string> const& argv) { return change("lock", argv, true); }

int runUnlock(std::vector<std::string> const& argv) { return change("unlock", argv, false); }

}  // namespace recstore
