// The soak: a supervisor that runs soak workers on one folder one after
// another, kills some of them with SIGKILL at a random moment (a power
// cut) and restarts them on what they left, and runs `recstore verify`
// over the disks after every worker.
//
//   recstore_soak [--seconds S] [--seed N|random] [--channels N] [--work DIR]
//
// Exit status: 0 when every check held for the whole run; 1 at the first
// check that did not, with its seed and the command line that runs the same
// fault schedule again; 2 for a bad command line.
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/soak/SoakWorker.h"

namespace {

char const kUsage[] =
    "usage: recstore_soak [options]\n"
    "  --seconds S     wall-clock seconds to run, 10 to 604800 (default 120)\n"
    "  --seed N        the schedule's seed, 1 to 2^63 or 'random' (default 20261123)\n"
    "  --channels N    cameras, 1 to 64 (default 16)\n"
    "  --faults KINDS  fault kinds by letter (default vhsldbkc): v disk vanishes,\n"
    "                  h writes hang, s short write, l directory list change,\n"
    "                  d day change, b clock set back, k lock and unlock,\n"
    "                  c power cut (SIGKILL)\n"
    "  --snapshot-channels N  cameras that also store pictures, 0 to 64 (default 4)\n"
    "  --work DIR      folder for the disks and the ledger (default: a new one\n"
    "                  in TMPDIR, removed after a run that passed)\n";

bool parseNumber(char const* text, unsigned long long low, unsigned long long high, unsigned long long& value) {
    if (*text == '\0' || std::strlen(text) > 19) return false;
    unsigned long long number = 0;
    for (char const* p = text; *p != '\0'; ++p) {
        if (*p < '0' || *p > '9') return false;
        number = number * 10 + static_cast<unsigned long long>(*p - '0');
    }
    if (number < low || number > high) return false;
    value = number;
    return true;
}

long long wallNow() { return static_cast<long long>(std::time(nullptr)); }

// Counts what the workers wrote to the ledger.
struct Totals {
    long long nFirst = 0;
    long long nLast = 0;
    int nStarts = 0;
    int nChecks = 0;
    int nBlocks = 0;
    std::map<std::string, int> faults;
};

Totals readLedger(std::string const& path) {
    Totals totals;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        long long value = std::atoll(line.c_str() + 2);
        switch (line[0]) {
        case 'T':
            if (totals.nFirst == 0) totals.nFirst = value;
            totals.nLast = value;
            break;
        case 'R': ++totals.nStarts; break;
        case 'C': totals.nChecks = static_cast<int>(value); break;
        case 'B': ++totals.nBlocks; break;
        case 'F': ++totals.faults[line.substr(2)]; break;
        default: break;
        }
    }
    return totals;
}

int runProcess(std::vector<std::string> const& args, long long killAfterMs, bool& killed) {
    pid_t const pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        std::vector<char*> argv;
        for (std::string const& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    auto const start = std::chrono::steady_clock::now();
    killed = false;
    int status = 0;
    for (;;) {
        pid_t const done = waitpid(pid, &status, WNOHANG);
        if (done == pid) break;
        long long const ms =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
        if (killAfterMs > 0 && ms >= killAfterMs && !killed) {
            kill(pid, SIGKILL);
            killed = true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (killed) return 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int main(int argc, char** argv) {
    SoakOptions options;
    unsigned long long seconds = 120;
    unsigned long long seed = 20261123;
    bool worker = false;
    std::string work;
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        if (arg == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "recstore_soak: %s needs a value\n%s", arg.c_str(), kUsage);
            return 2;
        }
        char const* value = argv[++i];
        unsigned long long number = 0;
        bool ok = true;
        if (arg == "--seconds") ok = parseNumber(value, 10, 604800, seconds);
        else if (arg == "--seed" && std::strcmp(value, "random") == 0) seed = std::random_device()() | 1ULL << 32;
        else if (arg == "--seed") ok = parseNumber(value, 1, 1ULL << 63, seed);
        else if (arg == "--channels") {
            ok = parseNumber(value, 1, 64, number);
            options.nChannels = static_cast<int>(number);
        } else if (arg == "--snapshot-channels") {
            ok = parseNumber(value, 0, 64, number);
            options.nSnapshotChannels = static_cast<int>(number);
        } else if (arg == "--work") work = value;
        else if (arg == "--faults") {
            options.strFaults = value;
            ok = options.strFaults.find_first_not_of("vhsldbkc") == std::string::npos;
        }
        else if (arg == "--worker-until") {
            worker = true;
            ok = parseNumber(value, 1, 1ULL << 40, number);
            options.nUntil = static_cast<long long>(number);
        } else {
            std::fprintf(stderr, "recstore_soak: unknown option %s\n%s", arg.c_str(), kUsage);
            return 2;
        }
        if (!ok) {
            std::fprintf(stderr, "recstore_soak: %s does not take '%s'\n", arg.c_str(), value);
            return 2;
        }
    }
    options.nSeed = seed;
    options.strTestData = RECSTORE_TESTDATA_DIR;
    if (worker) {
        options.strWork = work;
        return runSoakWorker(options);
    }

    bool const ownFolder = work.empty();
    if (ownFolder) {
        char const* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/recstore-soak-XXXXXX";
        if (mkdtemp(&pattern[0]) == nullptr) {
            std::fprintf(stderr, "recstore_soak: cannot make a folder in TMPDIR\n");
            return 1;
        }
        work = pattern;
    }
    std::system(("mkdir -p '" + work + "'").c_str());
    std::printf("soak: seed %llu, %llu s, %d channels, in %s\n", seed, seconds, options.nChannels, work.c_str());
    std::fflush(stdout);
    std::mt19937_64 random(seed);
    long long const until = wallNow() + static_cast<long long>(seconds);
    int cuts = 0;
    int failure = 0;
    std::string why;
    while (wallNow() < until) {
        // Some workers lose power at a random moment; the others run out their slice.
        long long const left = until - wallNow();
        long long const slice = std::min<long long>(left, 40);
        long long killAfterMs = 0;
        if (left > 15 && options.strFaults.find('c') != std::string::npos && std::uniform_int_distribution<int>(0, 2)(random) != 0)
            killAfterMs = std::uniform_int_distribution<long long>(3000, slice * 1000 - 1000)(random);
        std::vector<std::string> args = {"/proc/self/exe", "--work", work, "--seed", std::to_string(seed),
                                         "--channels", std::to_string(options.nChannels), "--faults",
                                         options.strFaults, "--snapshot-channels",
                                         std::to_string(options.nSnapshotChannels),
                                         "--worker-until", std::to_string(wallNow() + slice)};
        bool killed = false;
        int const status = runProcess(args, killAfterMs, killed);
        if (killed) ++cuts;
        if (status != 0) {
            failure = status;
            why = "a soak worker ended with status " + std::to_string(status);
            break;
        }
        std::string verify = std::string(RECSTORE_CLI_PATH) + " verify";
        for (int d = 1; d <= options.nDisks; ++d) verify += " '" + work + "/disk" + std::to_string(d) + "'";
        int const verified = std::system((verify + " > '" + work + "/verify.txt' 2>&1").c_str());
        // verify counts apart what a power cut or a failing disk leaves
        // between two steps of a change (an entry whose file is in the bin, a
        // date folder without index): the engine clears those later.
        if (verified != 0) {
            failure = 1;
            why = "recstore verify found damage (" + work + "/verify.txt)";
            std::system(("tail -n 20 '" + work + "/verify.txt' >&2").c_str());
            break;
        }
    }
    Totals const totals = readLedger(work + "/ledger.txt");
    int faults = 0;
    std::string kinds;
    for (auto const& fault : totals.faults) {
        faults += fault.second;
        kinds += (kinds.empty() ? "" : ", ") + fault.first + " " + std::to_string(fault.second);
    }
    std::printf("soak: %.2f simulated days, %d blocks recorded, %d faults (%s), %d power cuts, %d workers, "
                "%d checks passed\n",
                static_cast<double>(totals.nLast - totals.nFirst) / 86400.0, totals.nBlocks, faults, kinds.c_str(),
                cuts, totals.nStarts, totals.nChecks);
    if (failure != 0) {
        std::fprintf(stderr,
                     "recstore_soak: FAILED with seed %llu: %s; replay: recstore_soak --seed %llu --seconds %llu "
                     "--channels %d --faults '%s' --snapshot-channels %d\n",
                     seed, why.c_str(), seed, seconds, options.nChannels, options.strFaults.c_str(),
                     options.nSnapshotChannels);
        std::fprintf(stderr, "recstore_soak: the disks and the ledger are kept in %s\n", work.c_str());
        return 1;
    }
    if (ownFolder) std::system(("rm -rf '" + work + "'").c_str());
    return 0;
}
