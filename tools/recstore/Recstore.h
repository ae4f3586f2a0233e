#ifndef TOOLS_RECSTORE_RECSTORE_H
#define TOOLS_RECSTORE_RECSTORE_H

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordInfo.h"

// What the subcommands of `recstore` share: the command line, the record
// roots, times and device keys, and the exit codes. Each subcommand works
// through the engine's own classes, never by reading a file format itself.
namespace recstore {

constexpr int kOk = 0;
constexpr int kFailed = 1;  // bad input, or the job found or did something wrong
constexpr int kUsage = 2;   // a malformed command line

// A subcommand's command line: options ("--name value", or "--name" for a
// flag) and positional arguments, in order.
class Args {
public:
    // Splits argv; `flags` are the options that take no value. False, with
    // the reason in error, for an unknown option or a missing value.
    bool parse(std::vector<std::string> const& argv, std::vector<std::string> const& valued,
               std::vector<std::string> const& flags, std::string& error);
    bool has(std::string const& name) const { return m_options.count(name) != 0; }
    std::string get(std::string const& name) const;
    std::vector<std::string> const& positional() const { return m_positional; }

private:
    std::map<std::string, std::string> m_options;
    std::vector<std::string> m_positional;
};

struct Command {
    char const* pszName;
    char const* pszSummary;
    char const* pszHelp;  // the subcommand's --help text
    int (*run)(std::vector<std::string> const& argv);
};

// "recstore NAME: text" on standard error; answers the exit code.
int fail(char const* name, int code, std::string const& text);

// "YYYY-MM-DD HH:MM:SS" or "YYYY-MM-DD" (its midnight), local time.
bool parseTime(std::string const& text, unsigned long& seconds);
std::string timeText(unsigned long seconds);
// "ID_IP_CAMERA", as the device folders are named; the IP may hold ':'.
bool parseDeviceKey(std::string const& text, RecordInfo& device);
std::string deviceKey(RecordInfo const& device);
// --device, --from and --to into a range of one device; kOk, or the exit
// code after a line on standard error.
int parseRange(char const* name, Args const& args, RecordInfo& range);

// The record roots named on the command line, each a folder holding
// "record": the retriever's directory list from now on. False, with the
// reason, for a root that is not a record root.
bool openRoots(std::vector<std::string> const& roots, std::vector<RecordDirInfoEx>& dirs, std::string& error);
// The roots as directories holding the folder `kind` ("record",
// "snapshot") and as the host describes them; false with the reason.
bool describeRoots(std::vector<std::string> const& roots, std::string const& kind, std::vector<RecordDirInfoEx>& dirs,
                   std::vector<RecordDirInfo>& list, std::string& error);

// Record files waiting in the root's bin; counted without the bin's own
// init, which would make the folder on a disk that only is looked at.
int binFiles(RecordDirInfoEx const& dir);

// Logs go to RECSTORE_ROOT if set, else to a folder of this run that is
// removed at exit: a tool that inspects a disk must not write to it. The
// engine's console lines are dropped; the program writes to out().
void placeLogs();
extern FILE* g_out;
inline FILE* out() { return g_out; }

int runLs(std::vector<std::string> const& argv);
int runRecord(std::vector<std::string> const& argv);
int runVerify(std::vector<std::string> const& argv);
int runRepair(std::vector<std::string> const& argv);
int runExport(std::vector<std::string> const& argv);
int runLock(std::vector<std::string> const& argv);
int runUnlock(std::vector<std::string> const& argv);
int runDf(std::vector<std::string> const& argv);
int runSnap(std::vector<std::string> const& argv);

}  // namespace recstore

#endif
