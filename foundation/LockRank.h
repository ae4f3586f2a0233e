#ifndef FOUNDATION_LOCKRANK_H
#define FOUNDATION_LOCKRANK_H

// Ranks of the engine's locks, outer to inner. A thread that holds a ranked
// lock may take another only of a higher rank, or one it already holds (the
// mutexes are recursive). Debug builds keep a stack per thread and abort with
// both places on an inversion, so a wrong order fails in tests at once
// instead of deadlocking on a recorder months later. Release builds keep
// nothing. Rank 0 takes no part.
namespace LockRank {
constexpr int kNone = 0;
constexpr int kCreation = 10;        // RecordDiskManagerImpl's creation mutex
constexpr int kGroupList = 20;       // RecordDirGroupManager's list mutex
constexpr int kGroupDirs = 30;       // a group's directory list, shared with its directories
constexpr int kGroupPolicies = 35;   // a group's copy of the channel policies
constexpr int kPolicyDirs = 40;      // a storage policy's directory mutex
constexpr int kPolicy = 50;          // a storage policy's policy mutex
constexpr int kDirState = 90;        // RecordDirStateManager's entries
constexpr int kSettingPending = 92;  // RecordDirSettingListener's pending list
constexpr int kSettingCurrent = 94;  // RecordDirSettingListener's current list

#ifdef NDEBUG
inline void acquire(void const*, int, char const*, int) {}
inline void release(void const*, int) {}
#else
void acquire(void const* mutex, int rank, char const* file, int line);
void release(void const* mutex, int rank);
#endif
// Ranked locks the calling thread holds now (0 in release builds).
int heldCount();
}  // namespace LockRank

#endif
