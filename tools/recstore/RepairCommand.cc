// recstore repair: what the engine's own repair does, made to last. A
// damaged index entry is replaced by its rebuilt copy from the ".reindex"
// sibling (the index's repair, committed to the file), and an entry whose
// record file is gone is taken out of the index (as the playback reader
// does when it meets one). Without --apply nothing is written: each change
// is only reported.

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "foundation/BasicTool.h"
#include "host/DiskManagerFactory.h"
#include "host/IDiskManager.h"
#include "index/RecordIndexFileParserEx.h"
#include "tools/recstore/Recstore.h"

namespace recstore {

namespace {

char const kName[] = "repair";

struct Tally {
    bool bApply = false;
    int nChanges = 0;
    int nLeft = 0;  // damage nothing here can repair
    int nFailed = 0;
    void change(std::string const& where, std::string const& what, bool done) {
        std::fprintf(out(), "%s: %s%s\n", where.c_str(), bApply ? "" : "would ", what.c_str());
        ++nChanges;
        if (bApply && !done) {
            std::fprintf(out(), "%s: the change failed\n", where.c_str());
            ++nFailed;
        }
    }
};

void repairDate(RecordDirInfoEx const& dir, std::string const& deviceDir, std::string const& date, Tally& tally) {
    std::string const where = BasicTool::getRecordDir(dir.getRecordRootDir()) + "/" + deviceDir + "/" + date;
    IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
    RecordIndexFileParserEx index;
    if (index.open(dir, date, deviceDir, 0, tally.bApply ? RecordIndexFileParserEx::kModeChange : 0) != 1) return;

    RecordIndexParserImplEx::FileList damaged;
    index.getIndexDemagedFileList(damaged);
    std::set<std::string> rebuilt;
    std::string const sibling = RecordIndexFileParserEx::getIndexFileName(
        dir.getRecordRootDir(), date, deviceDir, RecordIndexFileParserEx::kStorageTypeRebuilt);
    if (!damaged.empty() && index.repairIndex(dir, date, deviceDir, 0) == 1) {
        // What the fold hid of the damaged entries is what it replaced.
        RecordIndexParserImplEx::FileList still;
        index.getIndexDemagedFileList(still);
        std::set<std::string> left;
        for (auto const& file : still) left.insert(file->getRecordFileName());
        for (auto const& file : damaged)
            if (left.count(file->getRecordFileName()) == 0) rebuilt.insert(file->getRecordFileName());
    }
    if (!rebuilt.empty()) {
        bool const done = !tally.bApply || (index.commitRepair() == 1 && disk != nullptr && disk->deleteFile(sibling.c_str()));
        for (std::string const& name : rebuilt) tally.change(where, "replace damaged entry " + name + " with its rebuilt copy", done);
    }
    for (auto const& file : damaged) {
        if (rebuilt.count(file->getRecordFileName()) != 0) continue;
        std::fprintf(out(), "%s: cannot repair entry %s: no rebuilt copy in %s\n", where.c_str(),
                     file->getRecordFileName().c_str(), sibling.c_str());
        ++tally.nLeft;
    }

    RecordIndexParserImplEx::FileList files;
    index.getRecordFileInfoList(0, 0x7FFFFFFFFFFFFFFFLL, files);
    for (auto const& file : files) {
        std::string const path = file->createRecordFileName();
        if (disk == nullptr || disk->isFileExist(path.c_str()) != 0) continue;
        bool const done = !tally.bApply || index.deleteFile(*file) == 1;
        tally.change(where, "remove the entry of " + file->getRecordFileName() + " (its record file is gone)", done);
    }
}

}  // namespace

int runRepair(std::vector<std::string> const& argv) {
    Args args;
    std::string error;
    if (!args.parse(argv, {}, {"--apply", "--dry-run"}, error)) return fail(kName, kUsage, error);
    if (args.has("--apply") && args.has("--dry-run")) return fail(kName, kUsage, "--apply or --dry-run, not both");
    std::vector<RecordDirInfoEx> dirs;
    if (!openRoots(args.positional(), dirs, error)) return fail(kName, kFailed, error);
    Tally tally;
    tally.bApply = args.has("--apply");
    for (RecordDirInfoEx const& dir : dirs) {
        std::vector<std::string> deviceDirs;
        BasicTool::getMatchDeviceDirList(dir, BasicTool::kRecordDirName, "", "", -1, deviceDirs);
        for (std::string const& deviceDir : deviceDirs) {
            std::vector<std::string> dates;
            BasicTool::getRecordDateList(dir, BasicTool::kRecordDirName, deviceDir, dates);
            for (std::string const& date : dates) repairDate(dir, deviceDir, date, tally);
        }
    }
    std::fprintf(out(), "%d change(s) %s, %d damaged entr%s left as %s\n", tally.nChanges,
                 tally.bApply ? "made" : "to make (run with --apply to make them)", tally.nLeft,
                 tally.nLeft == 1 ? "y" : "ies", tally.nLeft == 1 ? "it is" : "they are");
    if (tally.nFailed != 0) return fail(kName, kFailed, std::to_string(tally.nFailed) + " change(s) failed");
    return tally.nLeft == 0 ? kOk : kFailed;
}

}  // namespace recstore
