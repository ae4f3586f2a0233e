#ifndef DIRECTORY_RECORDOUTDATEFILEHANDLER_H
#define DIRECTORY_RECORDOUTDATEFILEHANDLER_H

#include <string>

#include "directory/RecordRecycleBin.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"

// Decides, entry by entry, which record files of a date are past their time,
// and moves them into the recycle bin; the index walk (RecordIndexParserImplEx::deleteOutDateFile
// and deleteDeviceFile) paints the entries of the files removed.
//
// A local object of one reclaiming pass; no locks.
class RecordOutDateFileHandler {
public:
    // Reads the clock. Without a bin no file leaves service.
    RecordOutDateFileHandler(SafePointer<RecordRecycleBin> const& bin, RecordDirInfoEx const& dirInfo);

    // Files that began more than nDays days ago are out of date; 0: no limit.
    void setSaveDays(int nDays);
    // Files that began before nTime are out of date.
    void setFileDeleteTime(long long nTime);
    long long getFileDeleteTime() const { return m_nDeleteTime; }
    // false: record files stay on disk, only the index entries go.
    void setDeleteFileFlag(bool bFlag) { m_bDeleteFileFlag = bFlag; }
    bool getDeleteFileFlag() const { return m_bDeleteFileFlag; }
    SafePointer<RecordRecycleBin> getRecycleBin() const { return m_bin; }
    // False without a limit; else whether the delete date is not before date.
    bool isOutDate(std::string const& date) const;
    void staticBegin();
    void staticEnd() { m_bStatistics = false; }
    int getDeletedFileNum() const { return m_nDeletedFileNum; }

    // 0 when the file began at or after the delete time (the walk ends
    // there, as entries are in time order); 1 when the entry may go (file
    // in the bin, already gone, or kept by setDeleteFileFlag(false)); 0 when
    // the file could not be moved.
    int deleteFile(long long nBeginTime, std::string const& dirPath, std::string const& name);
    // The same without the time test: 1 moved or gone, 0 failed.
    int deleteDeviceFile(std::string const& dirPath, std::string const& name);

private:
    int removeFile(std::string const& dirPath, std::string const& name);

    SafePointer<RecordRecycleBin> m_bin;
    RecordDirInfoEx m_dirInfo;
    int m_nSaveDays = 0;
    long long m_nNow = 0;
    long long m_nDeleteTime = 0;
    std::string m_strDeleteDate;
    bool m_bStatistics = false;
    int m_nDeletedFileNum = 0;
    bool m_bDeleteFileFlag = true;
};

#endif
