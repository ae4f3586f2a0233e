#include "index/IRecordIndexItemParser.h"

#include "index/RecordIndexCodec.h"

int IRecordIndexItemParser::parse(char*, int, int&) { return 0; }

int IRecordIndexItemParser::decode(int nVersion, char const* p) {
    unsigned char const* bytes = reinterpret_cast<unsigned char const*>(p);
    int size = RecordIndexCodec::getItemSize(nVersion, bytes[0]);
    RecordIndexCodec::ItemInfo item;
    RecordIndexCodec::decodeItem(nVersion, bytes, size, item);
    m_nTimeInterval = item.nTimeInterval;
    m_nDataLength = item.nDataLength;
    m_nTimeLength = item.nTimeLength;
    m_bLocked = item.bLocked;
    m_nIndexType = item.nIndexType;
    m_bLong = item.bLong;
    m_bAlarm = item.bAlarm;
    return size;
}

void IRecordIndexItemParser::lock(char* p) {
    RecordIndexCodec::setLockBit(reinterpret_cast<unsigned char*>(p), true);
}

void IRecordIndexItemParser::unLock(char* p) {
    RecordIndexCodec::setLockBit(reinterpret_cast<unsigned char*>(p), false);
}
