#include "recording/TSFrameQueueOperator.h"

#include <cstdio>
#include <cstring>

#include "foundation/CommonLog.h"
#include "host/CircleQueue.h"
#include "recording/MarkData.h"

TSFrameQueueOperator::TSFrameQueueOperator(int nSize, char const* device, int camera)
    : m_pBuffer(new char[nSize > 0 ? nSize : 1]), m_nSize(nSize > 0 ? nSize : 0), m_pCommonLog(new CommonLog()) {
    std::memset(m_pBuffer, 0, static_cast<size_t>(nSize > 0 ? nSize : 1));
    m_pCommonLog->initLog("CompressTSFrameQueue", 0, device != nullptr ? device : "NULL", camera, 307200, 3);
}

TSFrameQueueOperator::~TSFrameQueueOperator() {
    delete m_pCommonLog;
    delete[] m_pBuffer;
}

void TSFrameQueueOperator::discardPFrame(CircleQueue* data, CircleQueue* marks) {
    if (data == nullptr || marks == nullptr) return;
    double const before = data->getUsePercent();
    marks->resetIterateOffset();
    int used = 0;
    for (;;) {
        int got = 0;
        char* record = marks->iterate(MarkData::kSize, got);
        if (got < MarkData::kSize) break;
        MarkData mark = MarkData::readFrom(record);
        if (mark.getIsInvalid() || mark.getFrameType() != 1) continue;
        int const length = mark.getFirstFrameLen() + mark.getFirstPFrameLen();
        if (length < 0 || used + MarkData::kSize + length > m_nSize) break;
        char const* bytes = data->getAddress(mark.getOffset());
        if (bytes == nullptr || mark.getOffset() + length > data->getSize()) break;
        mark.setFrameNum(mark.getFirstPFrameLen() > 0 ? 2 : 1);
        mark.setFrameTotalLength(length);
        mark.writeTo(m_pBuffer + used);
        std::memcpy(m_pBuffer + used + MarkData::kSize, bytes, static_cast<size_t>(length));
        used += MarkData::kSize + length;
    }

    data->clear();
    marks->clear();
    int offset = 0;
    for (int at = 0; at < used;) {
        MarkData mark = MarkData::readFrom(m_pBuffer + at);
        int const length = mark.getFrameTotalLength();
        data->push(m_pBuffer + at + MarkData::kSize, length);
        mark.setOffset(offset);
        char record[MarkData::kSize];
        mark.writeTo(record);
        marks->push(record, MarkData::kSize);
        offset += length;
        at += MarkData::kSize + length;
    }

    char text[128];
    std::snprintf(text, sizeof(text), "nPercent1:%d  nPercent2:%d", static_cast<int>(before * 100),
                  static_cast<int>(data->getUsePercent() * 100));
    m_pCommonLog->writeLog(text);
}
