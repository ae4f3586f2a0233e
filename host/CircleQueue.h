#ifndef HOST_CIRCLEQUEUE_H
#define HOST_CIRCLEQUEUE_H

#include <atomic>
#include <cstdint>
#include <mutex>

// A byte ring that never wraps data: a push that does not fit between the
// write position and the end (or the read position) fails, and the caller
// gives up the end of the ring with pushInvalid first. So everything pushed
// in one call is one contiguous run at getWriteAddress().
//
// Positions are kept as running byte counts (write count, read count), so
// one producer (push, pushInvalid, getWriteAddress, the space getters) and
// one consumer (pop, iterate) may work at the same time without a lock. The
// iterator belongs to one thread at a time; clear() needs both sides still.
// With `locked` every operation is also serialised by an internal mutex.
class CircleQueue {
public:
    CircleQueue(unsigned int size, bool locked);
    ~CircleQueue();

    CircleQueue(CircleQueue const&) = delete;
    CircleQueue& operator=(CircleQueue const&) = delete;

    // Appends `length` bytes; false, and nothing changed, without room for
    // them in one run.
    bool push(char const* data, int length);
    // Drops `length` bytes from the front; false if fewer are held.
    bool pop(int length);
    // Moves the write position over `length` bytes written in place at
    // getWriteAddress(), or over space given up; false without room.
    bool pushInvalid(int length);
    void clear();

    char* getWriteAddress();
    // Byte at ring position `offset` (0 <= offset < size).
    char* getAddress(int offset);
    // The first n held bytes in place, without moving the iterator; null when
    // fewer are held or they run over the end of the ring. Consumer side.
    char* peek(int n);
    int getWritePtr() const;
    int getReadPtr() const;
    int getDataSize() const;
    int getSize() const { return static_cast<int>(m_nSize); }
    // Free bytes from the write position on, in one run.
    int getTailSpaceSize() const;
    // Free bytes from the start of the ring to the read position; 0 while
    // the held data runs over the end of the ring.
    int getHeadSpaceSize() const;
    // Held bytes over size, 0 to 1.
    double getUsePercent() const;

    // The next up to n held bytes from the iterator in one run; `got` is
    // how many (0 at the end of the data). The iterator moves over them.
    char* iterate(int n, int& got);
    // Puts the iterator back to the read position.
    void resetIterateOffset();
    // Ring position of the iterator.
    int getIterateOffset() const;

private:
    int tailSpace(uint64_t nWrite, uint64_t nRead) const;
    int headSpace(uint64_t nWrite, uint64_t nRead) const;

    char* m_pBuffer;
    uint64_t m_nSize;
    bool m_bLocked;
    mutable std::mutex m_mutex;           // only with m_bLocked
    std::atomic<uint64_t> m_nWriteCount;  // written by the producer
    std::atomic<uint64_t> m_nReadCount;   // written by the consumer
    uint64_t m_nIterateCount;             // owned by the iterating thread
};

#endif
