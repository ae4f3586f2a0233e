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
    int const parsed = parseRange(name, args, range);
    if (parsed != kOk) return parsed;
    std::vector<RecordDirInfoEx> dirs;
    if (!openRoots(args.positional(), dirs, error)) return fail(name, kFailed, error);
    RecordRetriever retriever;
    int const code = lock ? retriever.lockRecordFile(range) : retriever.unlockRecordFile(range);
    if (code != 0) {
        return fail(name, kFailed, std::string(lock ? "lock" : "unlock") + " of " + args.get("--device") +
                                       " failed (" + std::to_string(code) + ")");
    }
    std::fprintf(out(), "%s %s from %s to %s\n", lock ? "locked" : "unlocked", args.get("--device").c_str(),
                timeText(range.getRecordBeginTime()).c_str(), timeText(range.getRecordEndTime()).c_str());
    return kOk;
}

}  // namespace

int runLock(std::vector<std::string> const& argv) { return change("lock", argv, true); }

int runUnlock(std::vector<std::string> const& argv) { return change("unlock", argv, false); }

}  // namespace recstore
