#include "recording/TSFrameQueue.h"

#include "foundation/OVMutexManager.h"

namespace NS_TSFrameQueue {
constexpr unsigned char kSyncByte = 0x47;
}

TSFrameQueue::TSFrameQueue(int nSize) : m_nSize(nSize) {}

bool TSFrameQueue::pushBlock(TSAVData const& block) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (m_nSize > 0 && m_nBytes + block.getDataLength() > static_cast<size_t>(m_nSize)) return false;
    Block stored;
    stored.header = block;
    stored.bytes.assign(block.getData(), block.getData() + block.getDataLength());
    m_nBytes += stored.bytes.size();
    m_blocks.push_back(std::move(stored));
    return true;
}

bool TSFrameQueue::frontAVData(TSAVData** out) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (m_blocks.empty() || out == nullptr) return false;
    Block& front = m_blocks.front();
    m_outData = front.header;
    m_outData.setData(front.bytes.data(), static_cast<unsigned int>(front.bytes.size()));
    *out = &m_outData;
    return true;
}

void TSFrameQueue::popAVData() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (m_blocks.empty()) return;
    m_nBytes -= m_blocks.front().bytes.size();
    m_blocks.pop_front();
}

bool TSFrameQueue::isEmpty() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_blocks.empty();
}

void TSFrameQueue::clean() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_blocks.clear();
    m_nBytes = 0;
}

bool TSFrameQueue::updata(long long nTimeStamp, int) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (Block const& block : m_blocks) {
        if (block.bytes.empty() ||
            static_cast<unsigned char>(block.bytes[0]) != NS_TSFrameQueue::kSyncByte) {
            m_blocks.clear();
            m_nBytes = 0;
            m_nTimeLineBase = 0;
            return false;
        }
    }
    m_nTimeLineBase = nTimeStamp;
    return true;
}

long long TSFrameQueue::getTimeLineBase() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_nTimeLineBase;
}
