#include "snapshot/SnapshotIndexItemEx.h"

#include <cstring>

#include "foundation/BasicTool.h"

namespace NS_SnapshotIndexItemEx {
constexpr int kTimeOffset = 1;
constexpr int kBurstOffset = 5;
constexpr int kSizeOffset = 6;
constexpr unsigned char kBurstHigh = 0xE0;
}  // namespace NS_SnapshotIndexItemEx

using namespace NS_SnapshotIndexItemEx;

SnapshotIndexItemEx::SnapshotIndexItemEx() { std::memset(m_data, 0, sizeof m_data); }

SnapshotIndexItemEx::SnapshotIndexItemEx(unsigned int nTimeStamp, int nBurstMode, int nFileSize)
    : SnapshotIndexItemEx() {
    setTimeStamp(nTimeStamp);
    setBurstMode(nBurstMode);
    setFileSize(nFileSize);
}

void SnapshotIndexItemEx::setTimeStamp(unsigned int nTimeStamp) {
    m_data[0] = kValid;
    BasicTool::toBytesLE(m_data + kTimeOffset, nTimeStamp, 4);
}

unsigned int SnapshotIndexItemEx::getTimeStamp() const {
    return static_cast<unsigned int>(BasicTool::toLongLE(m_data + kTimeOffset, 4));
}

void SnapshotIndexItemEx::setBurstMode(int nBurstMode) {
    m_data[kBurstOffset] = static_cast<unsigned char>(kBurstHigh | (static_cast<unsigned>(nBurstMode) & 0x1F));
}

int SnapshotIndexItemEx::getBurstMode() const { return m_data[kBurstOffset] & 0x0F; }

void SnapshotIndexItemEx::setFileSize(int nFileSize) {
    BasicTool::toBytesLE(m_data + kSizeOffset, static_cast<unsigned>(nFileSize) & kMaxDataLength, 3);
}

int SnapshotIndexItemEx::getFileSize() const { return static_cast<int>(BasicTool::toLongLE(m_data + kSizeOffset, 3)); }

int SnapshotIndexItemEx::parse(unsigned char const* p, int nLength) {
    if (p == nullptr || nLength < kLength) return 0;
    std::memcpy(m_data, p, kLength);
    return 1;
}
