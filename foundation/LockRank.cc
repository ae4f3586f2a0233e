#include "foundation/LockRank.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace NS_LockRank {
struct Held {
    void const* pMutex;
    int nRank;
    char const* pszFile;
    int nLine;
};

std::vector<Held>& stack() {
    thread_local std::vector<Held> held;
    return held;
}
}  // namespace NS_LockRank

#ifndef NDEBUG
void LockRank::acquire(void const* mutex, int rank, char const* file, int line) {
    if (rank == kNone) return;
    std::vector<NS_LockRank::Held>& held = NS_LockRank::stack();
    bool again = false;
    for (NS_LockRank::Held const& entry : held) again = again || entry.pMutex == mutex;
    if (!again && !held.empty() && held.back().nRank >= rank) {
        NS_LockRank::Held const& top = held.back();
        std::fprintf(stderr, "lock order inverted: rank %d at %s:%d taken while holding rank %d from %s:%d\n", rank,
                     file != nullptr ? file : "?", line, top.nRank, top.pszFile != nullptr ? top.pszFile : "?",
                     top.nLine);
        std::abort();
    }
    // A re-entry keeps the stack ordered: it goes on top with the top's rank.
    int stored = again && !held.empty() && held.back().nRank > rank ? held.back().nRank : rank;
    held.push_back({mutex, stored, file, line});
}

void LockRank::release(void const* mutex, int rank) {
    if (rank == kNone) return;
    std::vector<NS_LockRank::Held>& held = NS_LockRank::stack();
    for (auto it = held.rbegin(); it != held.rend(); ++it) {
        if (it->pMutex == mutex) {
            held.erase(std::next(it).base());
            return;
        }
    }
}
#endif

int LockRank::heldCount() { return static_cast<int>(NS_LockRank::stack().size()); }
