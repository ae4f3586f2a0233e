#ifndef TESTS_SOAK_SOAKWORKER_H
#define TESTS_SOAK_SOAKWORKER_H

#include <string>

// What one soak process is given by its supervisor.
struct SoakOptions {
    std::string strWork;      // disks, ledger and host root live here
    std::string strTestData;  // the shipped streams and pictures
    unsigned long long nSeed = 1;
    int nChannels = 16;
    int nDisks = 3;
    int nDiskMiB = 256;
    int nFileMiB = 16;
    int nSnapshotChannels = 4;
    long long nUntil = 0;  // wall clock (epoch seconds) at which to stop
    // Fault kinds to inject, by letter: v vanish, h hang, s short write,
    // l directory list, d day change, b clock back, k lock (power cuts are
    // the supervisor's: c).
    std::string strFaults = "vhsldbkc";
};

// Plays a recorder host on the engine until nUntil: records bursts on every
// channel through frame queues on producer and consumer threads while the
// simulated clock runs days in minutes, queries and plays back from a
// reader thread, stores snapshots, injects seeded faults, and checks the
// engine's answers against the ledger after every fault. Continues what an
// earlier worker (killed or not) left in the same folder. Exit status 0
// when every invariant held; 1 with the violations on standard error.
int runSoakWorker(SoakOptions const& options);

#endif
