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

// A thread's stack is destroyed before the process-wide singletons are, at
// exit; locks they take in their destructors then go unchecked. Null then.
thread_local bool t_bStackGone = false;

struct Stack {
    std::vector<Held> held;
    ~Stack() { t_bStackGone = true; }
};

std::vector<Held>* stack() {
    if (t_bStackGone) return nullptr;
    thread_local Stack stack;
    return &stack.held;
}
}  // namespace NS_LockRank

#ifndef NDEBUG
void LockRank::acquire(void const* mutex, int rank, char const* file, int line) {
    if (rank == kNone || NS_LockRank::stack() == nullptr) return;
    std::vector<NS_LockRank::Held>& held = *NS_LockRank::stack();
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
    if (rank == kNone || NS_LockRank::stack() == nullptr) return;
    std::vector<NS_LockRank::Held>& held = *NS_LockRank::stack();
    for (auto it = held.rbegin(); it != held.rend(); ++it) {
        if (it->pMutex == mutex) {
            held.erase(std::next(it).base());
            return;
        }
    }
}
#endif

int LockRank::heldCount() {
    std::vector<NS_LockRank::Held> const* held = NS_LockRank::stack();
    return held == nullptr ? 0 : static_cast<int>(held->size());
}
