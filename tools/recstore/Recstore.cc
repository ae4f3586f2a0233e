#include "tools/recstore/Recstore.h"

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "directory/RecordRecycleBin.h"
#include "foundation/BasicTool.h"
#include "foundation/DeviceDirParser.h"
#include "host/DiskManagerFactory.h"
#include "host/HostPaths.h"
#include "host/IDiskManager.h"
#include "retrieval/RecordRetriever.h"

namespace recstore {

bool Args::parse(std::vector<std::string> const& argv, std::vector<std::string> const& valued,
                 std::vector<std::string> const& flags, std::string& error) {
    for (size_t i = 0; i < argv.size(); ++i) {
        std::string const& arg = argv[i];
        if (arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
            m_positional.push_back(arg);
            continue;
        }
        if (std::find(flags.begin(), flags.end(), arg) != flags.end()) {
            m_options[arg] = "";
        } else if (std::find(valued.begin(), valued.end(), arg) != valued.end()) {
            if (i + 1 >= argv.size()) {
                error = arg + " needs a value";
                return false;
            }
            m_options[arg] = argv[++i];
        } else {
            error = "unknown option " + arg;
            return false;
        }
    }
    return true;
}

std::string Args::get(std::string const& name) const {
    auto found = m_options.find(name);
    return found == m_options.end() ? std::string() : found->second;
}

int fail(char const* name, int code, std::string const& text) {
    std::fprintf(stderr, "recstore %s: %s\n", name, text.c_str());
    return code;
}

bool parseTime(std::string const& text, unsigned long& seconds) {
    std::string const full = text.size() == 10 ? text + " 00:00:00" : text;
    struct tm parts = {};
    char tail = 0;
    if (full.size() != 19 ||
        std::sscanf(full.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%c", &parts.tm_year, &parts.tm_mon, &parts.tm_mday,
                    &parts.tm_hour, &parts.tm_min, &parts.tm_sec, &tail) != 6) {
        return false;
    }
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    parts.tm_isdst = -1;
    time_t const t = mktime(&parts);
    if (t < 0) return false;
    seconds = static_cast<unsigned long>(t);
    // 2024-02-30 and the like normalise to another day: refused.
    return timeText(seconds) == full;
}

std::string timeText(unsigned long seconds) {
    time_t const t = static_cast<time_t>(seconds);
    struct tm parts = {};
    char text[32] = "";
    if (localtime_r(&t, &parts) != nullptr) strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

bool parseDeviceKey(std::string const& text, RecordInfo& device) {
    DeviceDirParser parser(text.c_str());
    if (!parser.isParsed() || parser.getDeviceId().empty() || parser.getDeviceIP().empty() ||
        parser.getCameraId() < 0) {
        return false;
    }
    device.setDeviceId(parser.getDeviceId().c_str());
    device.setDeviceIP(parser.getDeviceIP().c_str());
    device.setCameraId(parser.getCameraId());
    return true;
}

std::string deviceKey(RecordInfo const& device) {
    return BasicTool::getDeviceDirString(device.getDeviceId(), device.getDeviceIP(), device.getCameraId());
}

int parseRange(char const* name, Args const& args, RecordInfo& range) {
    if (!args.has("--device") || !parseDeviceKey(args.get("--device"), range))
        return fail(name, kUsage, "--device ID_IP_CAMERA is needed");
    unsigned long from = 0;
    unsigned long to = 0;
    if (!parseTime(args.get("--from"), from) || !parseTime(args.get("--to"), to))
        return fail(name, kUsage, "--from and --to take \"YYYY-MM-DD HH:MM:SS\"");
    if (to <= from) return fail(name, kFailed, "--to must come after --from");
    range.setRecordBeginTime(from);
    range.setRecordEndTime(to);
    return kOk;
}

bool describeRoots(std::vector<std::string> const& roots, std::string const& kind, std::vector<RecordDirInfoEx>& dirs,
                   std::vector<RecordDirInfo>& list, std::string& error) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(RecordDirInfoEx::kDiskTypeLocal, 0);
    for (std::string const& root : roots) {
        if (disk == nullptr || disk->isDirExist((root + BasicTool::kSeparator + kind).c_str()) == 0) {
            error = root + " is not a " + kind + " root (no " + kind + " folder in it)";
            return false;
        }
        RecordDirInfoEx dir;
        dir.setRecordRootDir(root);
        dir.setRecordDiskName(root);
        dir.setAttribute(1);
        dir.setEnableFlag(true);
        dirs.push_back(dir);
        list.push_back(RecordDirInfoEx::changeToRecordDirInfo(dir));
    }
    if (roots.empty()) {
        error = "no " + kind + " root given";
        return false;
    }
    return true;
}

bool openRoots(std::vector<std::string> const& roots, std::vector<RecordDirInfoEx>& dirs, std::string& error) {
    std::vector<RecordDirInfo> list;
    if (!describeRoots(roots, BasicTool::kRecordDirName, dirs, list, error)) return false;
    RecordRetriever::setRecordDirList(list);
    return true;
}

int binFiles(RecordDirInfoEx const& dir) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
    std::vector<std::string> names;
    std::string const bin = BasicTool::getRecordRecycleBinDir(dir.getRecordRootDir());
    if (disk == nullptr || disk->getFileList(bin.c_str(), names, "*", 0) < 0) return 0;
    int count = 0;
    for (std::string const& name : names) count += RecordRecycleBin::isRecordFileName(name) ? 1 : 0;
    return count;
}

namespace {
std::string g_logFolder;
void removeLogFolder() {
    if (!g_logFolder.empty()) std::system(("rm -rf '" + g_logFolder + "'").c_str());
}
}  // namespace

FILE* g_out = stdout;

void placeLogs() {
    // The engine's own console lines are for a recorder's console, not for
    // this program's output: they go to /dev/null, the output to the real
    // standard output.
    int const saved = dup(1);
    FILE* devnull = std::fopen("/dev/null", "w");
    if (saved >= 0 && devnull != nullptr && dup2(fileno(devnull), 1) >= 0) {
        FILE* out = fdopen(saved, "w");
        if (out != nullptr) g_out = out;
    }
    if (devnull != nullptr) std::fclose(devnull);
    char const* root = std::getenv("RECSTORE_ROOT");
    if (root != nullptr && *root != '\0') return;  // HostPaths takes it
    char const* tmp = std::getenv("TMPDIR");
    std::string folder = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/recstore-logs.XXXXXX";
    if (mkdtemp(&folder[0]) == nullptr) return;
    g_logFolder = folder;
    HostPaths::setRoot(folder);
    std::atexit(removeLogFolder);
}

}  // namespace recstore
