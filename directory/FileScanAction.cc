#include "directory/FileScanAction.h"

#include "foundation/OVRuntimeError.h"

void FileScanAction::doAction(char const* fileName) {
    if (!m_checker.checkFileName(fileName)) return;
    if (m_handler.isNull()) throw OVRuntimeError("Use NULL pointer ->");
    m_handler->handleFile(m_dirInfo, m_checker, m_strDate, m_strDirPath, fileName, m_nCamera);
}
