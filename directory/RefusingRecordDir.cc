#include "directory/RefusingRecordDir.h"

#include "foundation/ReturnCode.h"

int RefusingRecordDir::init() {
    std::string message = std::string(m_kind) + " directories cannot record in this build";
    writeLog(message.c_str(), __LINE__);
    return 0;
}

int RefusingRecordDir::createFile(SafePointer<RecordFileInfo>&) {
    writeLog("createFile refused", __LINE__);
    return OV_RECORD_DIR_NOT_WRITABLE;
}
