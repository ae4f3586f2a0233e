// recstore: one program for what is on a recorder's disks.
//   recstore COMMAND [options] ROOT...
// Exit status: 0 when the job worked, 1 for bad input or a job that failed
// or found a fault, 2 for a malformed command line; every failure is one
// line on standard error.

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/recstore/Recstore.h"

namespace {

using recstore::Command;

Command const kCommands[] = {
    {"record", "record the shipped streams into record directories and read them back",
     nullptr,  // the recording tool prints its own --help
     recstore::runRecord},
    {"ls", "devices, a device's dates, or a date's recorded segments",
     "usage: recstore ls [--device ID_IP_CAMERA [--date YYYY-MM-DD]] [--json] ROOT...\n"
     "  without --device: every device recorded on the roots, and its first date\n"
     "  --device KEY      the dates that hold recordings of that device\n"
     "  --date DATE       with --device: the merged segments of that date (begin,\n"
     "                    end, seconds, locked, alarm)\n"
     "  --json            the same as JSON, for scripts\n",
     recstore::runLs},
    {"verify", "every index entry against its record file; exit 0 only when all is intact",
     "usage: recstore verify ROOT...\n"
     "  Checks every index entry (the index's own damage check, the indexed length\n"
     "  against the record file, every I-frame item on a TS packet boundary) and\n"
     "  the disk's data version, and counts the record files in use and in the\n"
     "  pool. One line per problem and a summary; an entry left open at a day's\n"
     "  end (being recorded, or cut by a power cut) is counted, not a problem.\n",
     recstore::runVerify},
    {"repair", "replace damaged index entries by their rebuilt copies, drop entries of lost files",
     "usage: recstore repair [--apply | --dry-run] ROOT...\n"
     "  A damaged index entry is replaced by its rebuilt copy from the \".reindex\"\n"
     "  file beside the index (which is then consumed), and the entry of a record\n"
     "  file that is gone is taken out of the index. Without --apply (--dry-run, the\n"
     "  default) every change is reported and nothing is written. Exit 0 when no\n"
     "  damage is left that has no rebuilt copy.\n",
     recstore::runRepair},
    {"export", "a time window of one device as one TS file",
     "usage: recstore export --device ID_IP_CAMERA --from TIME --to TIME ROOT... OUT.ts\n"
     "  TIME is \"YYYY-MM-DD HH:MM:SS\" (local time). Reads through the playback\n"
     "  reader across files and disks; a progress bar on a terminal.\n",
     recstore::runExport},
    {"lock", "lock a device's recordings over a time range",
     "usage: recstore lock --device ID_IP_CAMERA --from TIME --to TIME ROOT...\n"
     "  Locked recordings are never reclaimed.\n",
     recstore::runLock},
    {"unlock", "unlock a device's recordings over a time range",
     "usage: recstore unlock --device ID_IP_CAMERA --from TIME --to TIME ROOT...\n", recstore::runUnlock},
    {"df", "per root: space, record files in the pool, in use and in the bin, and per device its time held",
     "usage: recstore df ROOT...\n", recstore::runDf},
    {"snap", "a device's snapshots: listed, or written out as .jpg files",
     "usage: recstore snap ls --device ID_IP_CAMERA [--from TIME] [--to TIME] ROOT...\n"
     "       recstore snap get --device ID_IP_CAMERA [--from TIME] [--to TIME] ROOT... FOLDER\n"
     "  ls lists each picture (time, bytes, handle); get writes each one to\n"
     "  FOLDER/<handle>.jpg. A ROOT here is a folder holding \"snapshot\".\n",
     recstore::runSnap},
};

void usage(FILE* out) {
    std::fprintf(out, "usage: recstore COMMAND [options] ROOT...\n\ncommands:\n");
    for (Command const& command : kCommands) std::fprintf(out, "  %-8s %s\n", command.pszName, command.pszSummary);
    std::fprintf(out, "\n'recstore COMMAND --help' tells a command's options. A ROOT is a folder\n"
                      "holding \"record\", one per disk.\n");
}

}  // namespace

int recordMain(int argc, char** argv);

namespace recstore {
int runRecord(std::vector<std::string> const& argv) {
    std::vector<char*> args{const_cast<char*>("recstore record")};
    for (std::string const& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    return recordMain(static_cast<int>(args.size()) - 1, args.data());
}
}  // namespace recstore

int main(int argc, char** argv) {
    if (argc < 2) {
        usage(stderr);
        return recstore::kUsage;
    }
    std::string const name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        usage(stdout);
        return recstore::kOk;
    }
    for (Command const& command : kCommands) {
        if (name != command.pszName) continue;
        std::vector<std::string> args(argv + 2, argv + argc);
        for (std::string const& arg : args) {
            if (command.pszHelp != nullptr && (arg == "--help" || arg == "-h")) {
                std::fputs(command.pszHelp, stdout);
                return recstore::kOk;
            }
        }
        // The recording tool keeps its logs under the record folder it fills.
        if (command.run != recstore::runRecord) recstore::placeLogs();
        return command.run(args);
    }
    std::fprintf(stderr, "recstore: unknown command '%s' (recstore --help lists them)\n", name.c_str());
    return recstore::kUsage;
}
