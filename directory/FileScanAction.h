#ifndef DIRECTORY_FILESCANACTION_H
#define DIRECTORY_FILESCANACTION_H

#include <string>

#include "directory/IRecordFileWithoutIndexHandler.h"
#include "directory/RecordFileCheckerWithoutIndex.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "host/IFileScanAction.h"

// One scan of a date folder of a directory without index: each name that
// reads as a record file goes to the handler, any other is skipped.
// Built on the stack by its owner for one scan; the handler must not be null.
class FileScanAction : public IFileScanAction {
public:
    FileScanAction(RecordDirInfoEx const& dir, std::string const& dateDir, std::string const& date,
                   SafePointer<IRecordFileWithoutIndexHandler> const& handler, int camera)
        : m_dirInfo(dir), m_strDirPath(dateDir), m_strDate(date), m_handler(handler), m_nCamera(camera) {}

    void doAction(char const* fileName) override;

private:
    RecordDirInfoEx m_dirInfo;
    std::string m_strDirPath;
    std::string m_strDate;
    RecordFileCheckerWithoutIndex m_checker;
    SafePointer<IRecordFileWithoutIndexHandler> m_handler;
    int m_nCamera;
};

#endif
