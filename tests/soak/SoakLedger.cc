#include "tests/soak/SoakLedger.h"

#include <algorithm>
#include <cstdarg>
#include <fstream>

#include "foundation/BasicTool.h"
#include "host/TimeConverter.h"

namespace {

// A power cut loses what the index had not flushed: at most one flush
// interval (60 s) and the block being written.
constexpr long long kCutLoss = 75;
// Within today the cut goes by files' begin times while a channel's files on
// other disks can be spared as its live file (the recording mark is per
// channel): small inversions of a few files happen. What must never happen
// is a disk's day cleared while older files stay elsewhere.
constexpr long long kTodaySlack = 600;

std::string dateOf(long long seconds) { return BasicTool::getDateString(seconds); }

}  // namespace

std::string SoakLedger::clockText(long long seconds) {
    std::string text;
    TimeConverter::longToStr(static_cast<unsigned long>(seconds), text);
    return text;
}

bool SoakLedger::open(std::string const& path) {
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) apply(line.c_str(), true);
    m_pFile = std::fopen(path.c_str(), "a");
    return m_pFile != nullptr;
}

SoakLedger::~SoakLedger() {
    if (m_pFile != nullptr) std::fclose(m_pFile);
}

void SoakLedger::append(char const* format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    std::lock_guard<std::mutex> guard(m_mutex);
    apply(line, false);
    std::fputs(line, m_pFile);
    std::fputc('\n', m_pFile);
    // One write per line: a SIGKILL keeps every line written.
    std::fflush(m_pFile);
}

// m_mutex held, or replaying before any thread runs.
void SoakLedger::apply(char const* line, bool replaying) {
    char kind = line[0];
    long long a = 0;
    long long b = 0;
    long long c = 0;
    long long d = 1;
    int const n = std::sscanf(line + 1, "%lld %lld %lld %lld", &a, &b, &c, &d);
    switch (kind) {
    case 'T':
        if (m_nFirstClock == 0) m_nFirstClock = a;
        m_nClock = a;
        break;
    case 'R':
        if (replaying || m_nGeneration > 0) m_cuts.push_back(m_nClock);
        m_nGeneration = static_cast<int>(a);
        break;
    case 'B':
        if (n >= 3) m_blocks[static_cast<int>(a)].push_back(Block{b, static_cast<int>(c), d != 0, kUnseen, -1, -1});
        break;
    case 'l':
    case 'L':
    case 'U':
    case 'x': {
        // A lock held may begin later than asked (what was gone before it).
        auto const replaced = [&](Range const& r) {
            return r.nChannel == a && r.nEnd == c && (r.nBegin == b || (kind == 'L' && !r.bConfirmed && r.nBegin <= b));
        };
        size_t before = m_blocks[static_cast<int>(a)].size();
        for (Range const& r : m_locks)
            if (replaced(r)) before = std::min(before, r.nBlocksBefore);
        m_locks.erase(std::remove_if(m_locks.begin(), m_locks.end(), replaced), m_locks.end());
        if (kind == 'l' || kind == 'L') m_locks.push_back(Range{static_cast<int>(a), b, c, kind == 'L', before});
        // Unlocking leaves the item that runs over the range's end locked,
        // and with it its file.
        if (kind == 'U') m_locks.push_back(Range{static_cast<int>(a), c - 10, c, false, before});
        break;
    }
    case 'X':
        m_clockBacks.emplace_back(a, b);
        break;
    case 'F':
        ++m_faults[line + 2];
        break;
    case 'P':
        m_pictures[static_cast<int>(a)].push_back(StoredPicture{b, static_cast<int>(c), m_nGeneration});
        break;
    case 'C':
        m_nChecks = static_cast<int>(a);
        m_nLastCheckClock = b;
        break;
    case 'V': {
        // Seen at a check: those not gone were found then.
        std::vector<Block>& blocks = m_blocks[static_cast<int>(a)];
        for (size_t i = 0; i < blocks.size() && i < static_cast<size_t>(b); ++i)
            if (blocks[i].nState == kUnseen) blocks[i].nState = kSeen;
        break;
    }
    case 'G': {
        std::vector<Block>& blocks = m_blocks[static_cast<int>(a)];
        if (b >= 0 && static_cast<size_t>(b) < blocks.size()) blocks[static_cast<size_t>(b)].nState = kGone;
        break;
    }
    default:
        break;
    }
}

void SoakLedger::noteClock(long long sim) { append("T %lld", sim); }
void SoakLedger::noteStart(int generation) { append("R %d", generation); }
void SoakLedger::noteBlock(int channel, long long time, int bytes, bool iFrame) {
    if (iFrame)
        append("B %d %lld %d", channel, time, bytes);
    else
        append("B %d %lld %d 0", channel, time, bytes);
}
void SoakLedger::noteLockAsked(int channel, long long begin, long long end) {
    append("l %d %lld %lld", channel, begin, end);
}
void SoakLedger::noteLock(int channel, long long begin, long long end) {
    append("L %d %lld %lld", channel, begin, end);
}
void SoakLedger::noteLockRefused(int channel, long long begin, long long end) {
    append("x %d %lld %lld", channel, begin, end);
}
void SoakLedger::noteUnlock(int channel, long long begin, long long end) {
    append("U %d %lld %lld", channel, begin, end);
}
void SoakLedger::noteClockBack(long long from, long long to) { append("X %lld %lld", from, to); }
void SoakLedger::noteFault(std::string const& kind) { append("F %s", kind.c_str()); }
void SoakLedger::notePicture(int channel, long long ms, int picture) {
    append("P %d %lld %d", channel, ms, picture);
}
void SoakLedger::noteViolation(std::string const& text) { append("! %s", text.c_str()); }

std::vector<SoakLedger::Block> SoakLedger::blocksOf(int channel) {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_blocks[channel];
}

std::vector<SoakLedger::Range> SoakLedger::locks() {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_locks;
}

std::map<long long, int> SoakLedger::picturesOf(int channel) {
    std::lock_guard<std::mutex> guard(m_mutex);
    // Of two pictures at one time (the clock went back), the later stored.
    std::map<long long, int> byTime;
    for (StoredPicture const& stored : m_pictures[channel]) byTime[stored.nMs] = stored.nPicture;
    return byTime;
}

// The writer writes its held items with a picture that comes more than
// 20 s after its last flush or file open; that was no later than the
// picture, or than where the clock went back from when the picture lies in
// the time the clock went back over.
std::set<long long> SoakLedger::settledPicturesOf(int channel) {
    std::lock_guard<std::mutex> guard(m_mutex);
    std::vector<StoredPicture> const& order = m_pictures[channel];
    std::set<long long> settled;
    for (size_t i = 0; i < order.size(); ++i) {
        long long flushed = order[i].nMs / 1000;
        for (auto const& back : m_clockBacks)
            if (back.second - 5 <= order[i].nMs / 1000 && order[i].nMs / 1000 <= back.first + 5)
                flushed = std::max(flushed, back.first);
        for (size_t j = i + 1; j < order.size() && order[j].nGeneration == order[i].nGeneration; ++j)
            if (order[j].nMs / 1000 > flushed + 20) {
                settled.insert(order[i].nMs);
                break;
            }
    }
    return settled;
}

bool SoakLedger::isLostByPowerCut(long long time) const {
    for (long long cut : m_cuts)
        if (time > cut - kCutLoss && time <= cut + 5) return true;
    return false;
}

bool SoakLedger::isAmbiguous(long long time) const {
    for (auto const& back : m_clockBacks)
        if (time >= back.second - 5 && time <= back.first + 5) return true;
    return false;
}

bool SoakLedger::wentBack(long long from, long long to) const {
    for (auto const& back : m_clockBacks)
        if (back.first >= from && back.second <= to) return true;
    return false;
}

// A block gone since the last check was reclaimed; reclamation must have
// taken the oldest first:
//  - on each disk, every day before the date of the reclaimed block's
//    record file had to go first (whole days, disk by disk);
//  - within today, across all disks, a file that ended before the
//    reclaimed one began had to go first.
// Files that may have been recorded into since the last check are exempt
// (a file being written is never reclaimed), and so are a channel's newest
// file on each disk, locked ones, and disks whose faults may keep them out
// of reclamation.
std::vector<std::string> SoakLedger::check(std::map<int, Answer> const& answers, std::vector<bool> const& unsure) {
    std::vector<std::string> violations;
    std::lock_guard<std::mutex> guard(m_mutex);
    std::string const today = dateOf(m_nClock);
    struct Gone {
        int nChannel;
        long long nTime;
        int nDisk;
        long long nFileBegin;
    };
    std::vector<Gone> reclaimed;
    struct Kept {
        int nChannel;
        int nDisk;
        long long nBegin;
        long long nEnd;
    };
    std::vector<Kept> kept;
    // A range locks only blocks recorded before it was asked: `block` is the
    // index of the newest block in question.
    auto locked = [&](int channel, long long begin, long long end, bool confirmedOnly, size_t block) {
        for (Range const& range : m_locks)
            if (range.nChannel == channel && (range.bConfirmed || !confirmedOnly) && block < range.nBlocksBefore &&
                range.nBegin < end && begin <= range.nEnd)
                return true;
        return false;
    };
    char text[256];
    for (auto const& entry : answers) {
        int const channel = entry.first;
        Answer const& answer = entry.second;
        std::vector<Block>& blocks = m_blocks[channel];
        // The record file holding a time: its entry spans it.
        auto fileOf = [&](long long time) -> int {
            for (size_t f = 0; f < answer.files.size(); ++f)
                if (answer.files[f].nBegin <= time && time <= answer.files[f].nEnd + 1) return static_cast<int>(f);
            return -1;
        };
        std::vector<bool> keptFile(answer.files.size(), false);
        for (size_t i = 0; i < blocks.size(); ++i) {
            Block& block = blocks[i];
            if (block.nState == kGone) continue;
            if (answer.present(block.nTime)) {
                block.nState = kSeen;
                int const file = fileOf(block.nTime);
                if (file >= 0) {
                    block.nDisk = answer.files[static_cast<size_t>(file)].nDisk;
                    block.nFileBegin = answer.files[static_cast<size_t>(file)].nBegin;
                    if (!isAmbiguous(block.nTime)) keptFile[static_cast<size_t>(file)] = true;
                }
                continue;
            }
            bool const explained = block.nState == kUnseen && isLostByPowerCut(block.nTime);
            // After the clock went back, a block may be recorded into a
            // range locked before: it was never locked.
            if (!explained && !isAmbiguous(block.nTime) && locked(channel, block.nTime, block.nTime + 1, true, i)) {
                std::snprintf(text, sizeof text, "channel %d: the locked recording at %s was reclaimed", channel,
                              clockText(block.nTime).c_str());
                violations.push_back(text);
            }
            if (!explained && !isAmbiguous(block.nTime))
                reclaimed.push_back(Gone{channel, block.nTime, block.nDisk, block.nFileBegin});
            block.nState = kGone;
            std::fprintf(m_pFile, "G %d %zu\n", channel, i);
        }
        std::fprintf(m_pFile, "V %d %zu\n", channel, blocks.size());
        // A file written into since the last check may have been the one
        // being recorded when something was reclaimed; and a channel
        // recording on one disk keeps its last file on each other disk as if
        // it were (the recording mark is the channel's, not the disk's). That
        // last file is the newest one begun before the last check: a file
        // begun since may not have been there when the reclaiming ran.
        std::map<int, size_t> lastOnDisk;
        for (size_t f = 0; f < answer.files.size(); ++f) {
            if (answer.files[f].nBegin >= m_nLastCheckClock) continue;
            auto at = lastOnDisk.find(answer.files[f].nDisk);
            if (at == lastOnDisk.end() || answer.files[at->second].nEnd < answer.files[f].nEnd)
                lastOnDisk[answer.files[f].nDisk] = f;
        }
        for (size_t f = 0; f < answer.files.size(); ++f) {
            auto last = lastOnDisk.find(answer.files[f].nDisk);
            if (!keptFile[f] || answer.files[f].nEnd >= m_nLastCheckClock ||
                (last != lastOnDisk.end() && last->second == f))
                continue;
            File const& file = answer.files[f];
            if (locked(channel, file.nBegin, file.nEnd + 1, false, 0)) continue;
            if (file.nDisk >= 0 && static_cast<size_t>(file.nDisk) < unsure.size() && unsure[static_cast<size_t>(file.nDisk)])
                continue;
            kept.push_back(Kept{channel, file.nDisk, file.nBegin, file.nEnd});
        }
    }
    for (Gone const& gone : reclaimed) {
        if (gone.nDisk < 0) continue;  // never seen on a disk by this worker
        std::string const goneDate = dateOf(gone.nFileBegin);
        for (Kept const& keep : kept) {
            bool const olderDay = keep.nDisk == gone.nDisk && dateOf(keep.nBegin) < goneDate;
            bool const olderToday = goneDate == today && dateOf(keep.nBegin) == today &&
                                    keep.nEnd + kTodaySlack <= gone.nFileBegin;
            if (!olderDay && !olderToday) continue;
            std::snprintf(text, sizeof text,
                          "channel %d: the recording at %s (file of %s, disk %d) was reclaimed while channel %d keeps "
                          "its file of %s on disk %d",
                          gone.nChannel, clockText(gone.nTime).c_str(), clockText(gone.nFileBegin).c_str(),
                          gone.nDisk + 1, keep.nChannel, clockText(keep.nBegin).c_str(), keep.nDisk + 1);
            violations.push_back(text);
            break;
        }
        if (violations.size() > 20) break;
    }
    ++m_nChecks;
    m_nLastCheckClock = m_nClock;
    std::fprintf(m_pFile, "C %d %lld\n", m_nChecks, m_nClock);
    for (std::string const& violation : violations) std::fprintf(m_pFile, "! %s\n", violation.c_str());
    std::fflush(m_pFile);
    return violations;
}
