#include "host/CircleQueue.h"

#include <cstring>

namespace {

// Takes the ring's own mutex only when it was built locked.
class OptionalLock {
public:
    OptionalLock(std::mutex& mutex, bool active) : m_pMutex(active ? &mutex : nullptr) {
        if (m_pMutex != nullptr) m_pMutex->lock();
    }
    ~OptionalLock() {
        if (m_pMutex != nullptr) m_pMutex->unlock();
    }
    OptionalLock(OptionalLock const&) = delete;
    OptionalLock& operator=(OptionalLock const&) = delete;

private:
    std::mutex* m_pMutex;
};

}  // namespace

CircleQueue::CircleQueue(unsigned int size, bool locked)
    : m_pBuffer(new char[size == 0 ? 1 : size]),
      m_nSize(size),
      m_bLocked(locked),
      m_nWriteCount(0),
      m_nReadCount(0),
      m_nIterateCount(0) {
    std::memset(m_pBuffer, 0, size == 0 ? 1 : size);
}

CircleQueue::~CircleQueue() { delete[] m_pBuffer; }

int CircleQueue::tailSpace(uint64_t nWrite, uint64_t nRead) const {
    if (m_nSize == 0) return 0;
    uint64_t const nFree = m_nSize - (nWrite - nRead);
    uint64_t const nToEnd = m_nSize - nWrite % m_nSize;
    return static_cast<int>(nFree < nToEnd ? nFree : nToEnd);
}

int CircleQueue::headSpace(uint64_t nWrite, uint64_t nRead) const {
    if (m_nSize == 0) return 0;
    uint64_t const nHeld = nWrite - nRead;
    uint64_t const nReadPos = nRead % m_nSize;
    // Held data that reaches the end puts the writer at the start: what lies
    // before the reader is then the writer's tail, not a head to wrap to.
    if (nHeld != 0 && nReadPos + nHeld >= m_nSize) return 0;
    return static_cast<int>(nReadPos);
}

bool CircleQueue::push(char const* data, int length) {
    OptionalLock guard(m_mutex, m_bLocked);
    if (length < 0) return false;
    uint64_t const nWrite = m_nWriteCount.load(std::memory_order_relaxed);
    uint64_t const nRead = m_nReadCount.load(std::memory_order_acquire);
    if (length > tailSpace(nWrite, nRead)) return false;
    if (length > 0) std::memcpy(m_pBuffer + nWrite % m_nSize, data, static_cast<size_t>(length));
    m_nWriteCount.store(nWrite + static_cast<uint64_t>(length), std::memory_order_release);
    return true;
}

bool CircleQueue::pushInvalid(int length) {
    OptionalLock guard(m_mutex, m_bLocked);
    if (length < 0) return false;
    uint64_t const nWrite = m_nWriteCount.load(std::memory_order_relaxed);
    uint64_t const nRead = m_nReadCount.load(std::memory_order_acquire);
    if (length > tailSpace(nWrite, nRead)) return false;
    m_nWriteCount.store(nWrite + static_cast<uint64_t>(length), std::memory_order_release);
    return true;
}

bool CircleQueue::pop(int length) {
    OptionalLock guard(m_mutex, m_bLocked);
    if (length < 0) return false;
    uint64_t const nRead = m_nReadCount.load(std::memory_order_relaxed);
    uint64_t const nWrite = m_nWriteCount.load(std::memory_order_acquire);
    if (static_cast<uint64_t>(length) > nWrite - nRead) return false;
    m_nReadCount.store(nRead + static_cast<uint64_t>(length), std::memory_order_release);
    return true;
}

void CircleQueue::clear() {
    OptionalLock guard(m_mutex, m_bLocked);
    m_nWriteCount.store(0, std::memory_order_release);
    m_nReadCount.store(0, std::memory_order_release);
    m_nIterateCount = 0;
}

char* CircleQueue::getWriteAddress() {
    if (m_nSize == 0) return m_pBuffer;
    return m_pBuffer + m_nWriteCount.load(std::memory_order_relaxed) % m_nSize;
}

char* CircleQueue::getAddress(int offset) {
    if (offset < 0 || static_cast<uint64_t>(offset) >= m_nSize) return nullptr;
    return m_pBuffer + offset;
}

char* CircleQueue::peek(int n) {
    OptionalLock guard(m_mutex, m_bLocked);
    if (m_nSize == 0 || n <= 0) return nullptr;
    uint64_t const nRead = m_nReadCount.load(std::memory_order_acquire);
    uint64_t const nWrite = m_nWriteCount.load(std::memory_order_acquire);
    uint64_t const nPos = nRead % m_nSize;
    if (nWrite - nRead < static_cast<uint64_t>(n) || nPos + static_cast<uint64_t>(n) > m_nSize) return nullptr;
    return m_pBuffer + nPos;
}

int CircleQueue::getWritePtr() const {
    if (m_nSize == 0) return 0;
    return static_cast<int>(m_nWriteCount.load(std::memory_order_acquire) % m_nSize);
}

int CircleQueue::getReadPtr() const {
    if (m_nSize == 0) return 0;
    return static_cast<int>(m_nReadCount.load(std::memory_order_acquire) % m_nSize);
}

int CircleQueue::getDataSize() const {
    uint64_t const nRead = m_nReadCount.load(std::memory_order_acquire);
    uint64_t const nWrite = m_nWriteCount.load(std::memory_order_acquire);
    return static_cast<int>(nWrite - nRead);
}

int CircleQueue::getTailSpaceSize() const {
    OptionalLock guard(m_mutex, m_bLocked);
    return tailSpace(m_nWriteCount.load(std::memory_order_acquire),
                     m_nReadCount.load(std::memory_order_acquire));
}

int CircleQueue::getHeadSpaceSize() const {
    OptionalLock guard(m_mutex, m_bLocked);
    return headSpace(m_nWriteCount.load(std::memory_order_acquire),
                     m_nReadCount.load(std::memory_order_acquire));
}

double CircleQueue::getUsePercent() const {
    if (m_nSize == 0) return 0.0;
    return static_cast<double>(getDataSize()) / static_cast<double>(m_nSize);
}

char* CircleQueue::iterate(int n, int& got) {
    OptionalLock guard(m_mutex, m_bLocked);
    got = 0;
    if (m_nSize == 0 || n <= 0) return m_pBuffer;
    uint64_t const nRead = m_nReadCount.load(std::memory_order_acquire);
    uint64_t const nWrite = m_nWriteCount.load(std::memory_order_acquire);
    // An iterator left behind by pops starts again at the front.
    if (m_nIterateCount < nRead || m_nIterateCount > nWrite) m_nIterateCount = nRead;
    uint64_t const nPos = m_nIterateCount % m_nSize;
    uint64_t nAvailable = nWrite - m_nIterateCount;
    if (nAvailable > m_nSize - nPos) nAvailable = m_nSize - nPos;
    if (nAvailable > static_cast<uint64_t>(n)) nAvailable = static_cast<uint64_t>(n);
    got = static_cast<int>(nAvailable);
    m_nIterateCount += nAvailable;
    return m_pBuffer + nPos;
}

void CircleQueue::resetIterateOffset() {
    OptionalLock guard(m_mutex, m_bLocked);
    m_nIterateCount = m_nReadCount.load(std::memory_order_acquire);
}

int CircleQueue::getIterateOffset() const {
    if (m_nSize == 0) return 0;
    return static_cast<int>(m_nIterateCount % m_nSize);
}
