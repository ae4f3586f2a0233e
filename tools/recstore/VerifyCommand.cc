// recstore verify: every index entry of every root against its record file
// (the index's own damage check, lengths, I-frame positions on packets),
// the pools and the bin counted, the data version checked. One line per
// problem, a summary, and exit 0 only when everything is intact.

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "directory/EmptyDirStat.h"
#include "directory/RecordDirHandler.h"
#include "disk/DataVersionInfoManager.h"
#include "foundation/BasicTool.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/IFile.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexFileParserEx.h"
#include "tools/recstore/Recstore.h"

namespace recstore {

namespace {

char const kName[] = "verify";
constexpr int kPacket = 188;
constexpr char kSyncByte = 0x47;

struct Report {
    int nProblems = 0;
    int nEntries = 0;
    int nUnsealed = 0;
    int nReplacedCrc = 0;
    int nInBin = 0;
    int nEmptyDates = 0;
    void problem(std::string const& where, std::string const& what) {
        std::fprintf(out(), "%s: %s\n", where.c_str(), what.c_str());
        ++nProblems;
    }
};

// The entry's items against its record file.
void verifyEntry(RecordIndexFileParserEx& index, SafePointer<RecordFileInfo> const& file, Report& report) {
    std::string const path = file->createRecordFileName();
    RecordFileIndexNodeInfo nodes;
    if (index.getParser().getRecordFileIndexNodeInfoList(file->getRecordFileName().c_str(), nodes) == 0) return;
    SafePointer<IFile> data = FileFactory::createFile(file->getRecordDirInfoEx().getDiskType(), 0);
    if (data.isNull() || !data->open(path.c_str(), IFile::kModeRead)) {
        // Reclaiming moves the file before it drops the entry: a power cut or
        // a failing disk between the two leaves this, and the engine drops
        // the entry later.
        std::string const inBin = BasicTool::getRecordDir(file->getRecordDirInfoEx().getRecordRootDir()) + "/" +
                                  BasicTool::kRecycleBinDirName + "/" + file->getRecordFileName();
        SafePointer<IFile> moved = FileFactory::createFile(file->getRecordDirInfoEx().getDiskType(), 0);
        if (!moved.isNull() && moved->open(inBin.c_str(), IFile::kModeRead)) {
            moved->close();
            ++report.nInBin;
            return;
        }
        report.problem(path, "record file missing or unreadable");
        return;
    }
    long long const length = data->getLength();
    std::vector<RecordIndexNode> const& list = nodes.getRecordIndexNodeList();
    if (!list.empty()) {
        long long const indexed = static_cast<long long>(list.back().getFilePos()) + list.back().getDataLength();
        if (indexed > length) {
            report.problem(path, "indexed length " + std::to_string(indexed) + " beyond the file's " +
                                     std::to_string(length) + " bytes");
        }
    }
    for (RecordIndexNode const& node : list) {
        if (!node.isIFrame()) continue;
        char byte = 0;
        bool const onPacket = node.getFilePos() % kPacket == 0 && node.getFilePos() < length &&
                              data->seek(node.getFilePos(), SEEK_SET) && data->read(&byte, 1) == 1 && byte == kSyncByte;
        if (!onPacket) {
            report.problem(path, "I-frame item at byte " + std::to_string(node.getFilePos()) +
                                     " does not start a TS packet");
        }
    }
    data->close();
}

void verifyDate(RecordDirInfoEx const& dir, std::string const& deviceDir, std::string const& date, Report& report) {
    std::string const where = BasicTool::getRecordDir(dir.getRecordRootDir()) + "/" + deviceDir + "/" + date;
    RecordIndexFileParserEx index;
    if (index.open(dir, date, deviceDir, 0, 0) != 1) {
        // A power cut or a failing disk between making a date folder and its
        // index, or between clearing it and removing it, leaves the folder
        // empty: nothing is lost, and reclaiming takes the folder.
        std::vector<std::string> files;
        IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
        if (disk != nullptr && disk->getFileList(where.c_str(), files, "*.ts*", 0) >= 0 && files.empty()) {
            ++report.nEmptyDates;
            return;
        }
        report.problem(where, "index cannot be read");
        return;
    }
    RecordIndexParserImplEx::FileList damaged;
    index.getIndexDemagedFileList(damaged);
    // A run whose CRC had its top byte replaced when written is whole, though
    // the engine takes it for damaged: counted, not a problem.
    RecordIndexParserImplEx::FileList reallyDamaged;
    index.getIndexDemagedFileList(reallyDamaged, true);
    std::set<std::string> realNames;
    for (SafePointer<RecordFileInfo> const& file : reallyDamaged) realNames.insert(file->getRecordFileName());
    // The last entry of a day may be open: being recorded, or cut by a power
    // cut. Its flushed items are sound and it is never continued.
    int dataLength = 0, timeLength = 0, interval = 0, lastByte = 0;
    bool closed = true;
    index.getRecordFileLenAndTimeLen(dataLength, timeLength, interval, lastByte, closed);
    RecordFileInfo last;
    index.getLastestFileInfo(last);
    std::set<std::string> broken;
    for (SafePointer<RecordFileInfo> const& file : damaged) {
        if (!closed && file->getRecordFileName() == last.getRecordFileName()) {
            ++report.nUnsealed;
            continue;
        }
        if (realNames.count(file->getRecordFileName()) == 0) {
            ++report.nReplacedCrc;
            continue;
        }
        report.problem(where, "index entry " + file->getRecordFileName() + " is damaged");
        broken.insert(file->getRecordFileName());
    }
    RecordIndexParserImplEx::FileList files;
    index.getRecordFileInfoList(0, 0x7FFFFFFFFFFFFFFFLL, files);
    for (SafePointer<RecordFileInfo> const& file : files) {
        ++report.nEntries;
        // A damaged entry's name and items are not to be trusted: it is one
        // problem, not one per thing it names.
        if (broken.count(file->getRecordFileName()) == 0) verifyEntry(index, file, report);
    }
}

void verifyRoot(RecordDirInfoEx const& dir, Report& report) {
    std::string const root = dir.getRecordRootDir();
    std::string const record = BasicTool::getRecordDir(root);
    RecordDirHandler handler(dir, record);
    handler.init(dir.getFileSystemFormat());
    int const version = handler.checkDataVersion();
    if (!DataVersionInfoManager::isGoodStatus(version))
        report.problem(root, std::string("data version: ") + DataVersionInfoManager::getStatusName(version));
    EmptyDirStat pool(dir.getDiskType(), BasicTool::getRecordEmptyDir(root));
    pool.init(dir.getFileSystemFormat());
    std::fprintf(out(), "%s: %d record file(s) in use, %d in the pool, %d in the bin\n", root.c_str(),
                 handler.getTotalRecordFileNumber(), pool.getTotalEmptyFileNumber(), binFiles(dir));
    std::vector<std::string> deviceDirs;
    BasicTool::getMatchDeviceDirList(dir, BasicTool::kRecordDirName, "", "", -1, deviceDirs);
    for (std::string const& deviceDir : deviceDirs) {
        std::vector<std::string> dates;
        BasicTool::getRecordDateList(dir, BasicTool::kRecordDirName, deviceDir, dates);
        for (std::string const& date : dates) verifyDate(dir, deviceDir, date, report);
    }
}

}  // namespace

int runVerify(std::vector<std::string> const& argv) {
    Args args;
    std::string error;
    if (!args.parse(argv, {}, {}, error)) return fail(kName, kUsage, error);
    std::vector<RecordDirInfoEx> dirs;
    if (!openRoots(args.positional(), dirs, error)) return fail(kName, kFailed, error);
    DataVersionInfoManager::getInstance()->init();
    Report report;
    for (RecordDirInfoEx const& dir : dirs) verifyRoot(dir, report);
    std::fprintf(out(),
                 "%d index entr%s checked, %d open at a day's end, %d sealed with a replaced CRC, %d with their file "
                 "in the bin, %d date folder(s) empty, %d problem(s)\n",
                 report.nEntries, report.nEntries == 1 ? "y" : "ies", report.nUnsealed, report.nReplacedCrc,
                 report.nInBin, report.nEmptyDates, report.nProblems);
    return report.nProblems == 0 ? kOk : kFailed;
}

}  // namespace recstore
