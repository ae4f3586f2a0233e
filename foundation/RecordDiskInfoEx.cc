#include "foundation/RecordDiskInfoEx.h"

#include "foundation/StorageParameterManage.h"

void RecordDiskInfoEx::initDiskInfo() {
    m_nReferenceLimit = StorageParameterManage::getInstance()->getDiskReferenceCountLimit();
}
