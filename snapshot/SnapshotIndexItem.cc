#include "snapshot/SnapshotIndexItem.h"

#include <cstring>

#include "foundation/BasicTool.h"

namespace NS_SnapshotIndexItem {
constexpr int kTimeOffset = 1;
constexpr int kBurstOffset = 5;
constexpr int kSizeOffset = 6;
}  // namespace NS_SnapshotIndexItem

using namespace NS_SnapshotIndexItem;

SnapshotIndexItem::SnapshotIndexItem() { std::memset(m_data, 0, sizeof m_data); }

SnapshotIndexItem::SnapshotIndexItem(unsigned int nTimeStamp, int nBurstMode, unsigned int nFileSize)
    : SnapshotIndexItem() {
    setTimeStamp(nTimeStamp);
    setBurstMode(nBurstMode);
    setFileSize(nFileSize);
}

void SnapshotIndexItem::setTimeStamp(unsigned int nTimeStamp) {
    m_data[0] = kValid;
    BasicTool::toBytesLE(m_data + kTimeOffset, nTimeStamp, 4);
}

unsigned int SnapshotIndexItem::getTimeStamp() const {
    return static_cast<unsigned int>(BasicTool::toLongLE(m_data + kTimeOffset, 4));
}

void SnapshotIndexItem::setBurstMode(int nBurstMode) { m_data[kBurstOffset] = static_cast<unsigned char>(nBurstMode); }

int SnapshotIndexItem::getBurstMode() const { return m_data[kBurstOffset]; }

void SnapshotIndexItem::setFileSize(unsigned int nFileSize) { BasicTool::toBytesLE(m_data + kSizeOffset, nFileSize, 4); }

unsigned int SnapshotIndexItem::getFileSize() const {
    return static_cast<unsigned int>(BasicTool::toLongLE(m_data + kSizeOffset, 4));
}

int SnapshotIndexItem::parse(unsigned char const* p, int nLength) {
    if (p == nullptr || nLength < kLength || p[0] != kValid) return 0;
    std::memcpy(m_data, p, kLength);
    return 1;
}
