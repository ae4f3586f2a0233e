#ifndef TESTS_SOAK_SOAKLEDGER_H
#define TESTS_SOAK_SOAKLEDGER_H

#include <cstdio>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

// What the soak host did, kept outside the engine in an append-only text
// file that survives a SIGKILL (every line is one write), and the rules
// that what the engine answers is checked against.
//
// Lines: "T sim" the clock reached sim; "R gen" a worker started (a power
// cut happened unless it is the first); "B ch time bytes" a block the
// engine accepted ("B ch time bytes 0" when it does not begin with an I
// frame); "L ch begin end" / "U ch begin end" a range locked /
// unlocked; "l ch begin end" a lock asked for, "x ..." refused; "X from to" the clock set
// back; "F kind" a fault injected; "P ch ms picture" a snapshot stored;
// "C n" an invariant check passed; "V ch n" blocks up to n seen at a check;
// "G ch i" block i found gone; "! text" a violation.
class SoakLedger {
public:
    struct Block {
        long long nTime = 0;  // seconds, the block's first frame
        int nBytes = 0;
        // It begins with an I frame: playback can start there. A group of
        // pictures split over two blocks may leave its second half alone in
        // a file once the first half's file was reclaimed.
        bool bIFrame = true;
        int nState = 0;  // kUnseen, kSeen, kGone
        // Where it was last seen (this worker only): disk, and the begin of
        // its record file; -1 unknown.
        int nDisk = -1;
        long long nFileBegin = -1;
    };
    static constexpr int kUnseen = 0;
    static constexpr int kSeen = 1;
    static constexpr int kGone = 2;

    struct Range {
        int nChannel = 0;
        long long nBegin = 0;
        long long nEnd = 0;
        bool bConfirmed = false;  // the lock call succeeded
        // The channel's blocks when the lock was asked: only those can be
        // locked. A burst's closing block reaches the disk with the next
        // burst, and may carry a time in a range locked in between.
        size_t nBlocksBefore = 0;
    };

    // Reads what an earlier worker wrote, then appends. False when the file
    // cannot be opened.
    bool open(std::string const& path);
    ~SoakLedger();

    void noteClock(long long sim);
    void noteStart(int generation);
    void noteBlock(int channel, long long time, int bytes, bool iFrame);
    void noteLockAsked(int channel, long long begin, long long end);
    void noteLock(int channel, long long begin, long long end);
    void noteUnlock(int channel, long long begin, long long end);
    void noteLockRefused(int channel, long long begin, long long end);
    void noteClockBack(long long from, long long to);
    void noteFault(std::string const& kind);
    void notePicture(int channel, long long ms, int picture);
    // Pictures whose index item surely reached the disk: a later picture of
    // the same worker came after the snapshot writer's flush interval.
    std::set<long long> settledPicturesOf(int channel);
    void noteViolation(std::string const& text);

    // "YYYY-MM-DD HH:MM:SS" in local time (the soak runs in UTC).
    static std::string clockText(long long seconds);

    long long getClock() const { return m_nClock; }
    int getGeneration() const { return m_nGeneration; }
    std::map<std::string, int> const& getFaults() const { return m_faults; }
    int getChecks() const { return m_nChecks; }
    long long getFirstClock() const { return m_nFirstClock; }
    std::vector<Block> blocksOf(int channel);
    std::vector<Range> locks();
    std::map<long long, int> picturesOf(int channel);

    // Where a recording may be missing for a known reason, or where two
    // recordings share a time after the clock was set back.
    bool isLostByPowerCut(long long time) const;
    bool isAmbiguous(long long time) const;
    // The clock was set back from `from` or later to `to` or earlier.
    bool wentBack(long long from, long long to) const;

    // A record file found on a disk at a check.
    struct File {
        long long nBegin = 0;  // as its index entry has it
        long long nEnd = 0;
        int nDisk = 0;
    };
    // What the engine answers at one check, per channel: the seconds a query
    // finds and the record files on the disks, by begin time.
    struct Answer {
        std::function<bool(long long)> present;
        std::vector<File> files;
    };
    // One check of the engine's answers against the ledger. Blocks gone
    // since the last check must be unlocked and older than the blocks kept
    // (see the .cc for how files and days bound "older"); disks in `unsure`
    // had faults that may keep them out of reclamation. Answers the
    // violations; records the outcome.
    std::vector<std::string> check(std::map<int, Answer> const& answers, std::vector<bool> const& unsure);

private:
    void append(char const* format, ...);
    void apply(char const* line, bool replaying);

    std::mutex m_mutex;
    FILE* m_pFile = nullptr;
    long long m_nClock = 0;
    long long m_nFirstClock = 0;
    int m_nGeneration = 0;
    int m_nChecks = 0;
    long long m_nLastCheckClock = 0;
    std::map<int, std::vector<Block>> m_blocks;
    std::vector<Range> m_locks;
    std::vector<long long> m_cuts;  // the clock when each power cut happened
    std::vector<std::pair<long long, long long>> m_clockBacks;
    std::map<std::string, int> m_faults;
    struct StoredPicture {
        long long nMs;
        int nPicture;
        int nGeneration;
    };
    std::map<int, std::vector<StoredPicture>> m_pictures;  // per channel, as stored
};

#endif
