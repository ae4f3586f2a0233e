#ifndef RETRIEVAL_RECORDRETRIEVERIMPL_H
#define RETRIEVAL_RECORDRETRIEVERIMPL_H

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordDirSpaceInfo.h"
#include "foundation/RecordInfo.h"
#include "foundation/RecordQuery.h"
#include "foundation/SafePointer.h"
#include "host/OVMutex.h"
#include "retrieval/RecordFileReaderWithIndex.h"
#include "retrieval/RetrieverFileQuery.h"

// The work behind RecordRetriever. The directory list is process-wide; every
// operation works on a private copy taken under m_DirInfoMutex, so a list
// replaced meanwhile never changes a walk under way. The RecordInfo base is
// the open playback request (channel and window).
//
// One object per RecordRetriever, used by one thread at a time.
class RecordRetrieverImpl : public RecordInfo {
public:
    RecordRetrieverImpl();
    ~RecordRetrieverImpl();
    RecordRetrieverImpl(RecordRetrieverImpl const&) = delete;
    RecordRetrieverImpl& operator=(RecordRetrieverImpl const&) = delete;

    // ---- the directory list ----
    // Replaces the list; directories without the enable flag are left out.
    static void setRecordDirList(std::vector<RecordDirInfoEx> const& list);
    // A copy of the list with each root's file system format refreshed from
    // the disk state manager. A directory whose disk is gone is left out of
    // the copy: it has nothing to give, and must not hide the other disks.
    // -708 for an empty list, -741 when a root cannot be asked at all.
    static int getRecordDirList(std::vector<RecordDirInfoEx>& list);
    // Device dirs of the channel (id, ip with ":" or "-", camera; an empty
    // id or ip, or a negative camera, matches any) found on any directory,
    // sorted and unique.
    static void getMatchDeviceList(std::vector<RecordDirInfoEx> const& dirs,
                                   std::string const& deviceId, std::string const& deviceIP,
                                   int cameraId, std::set<std::string>& deviceDirs);
    // False when the id or ip holds what would break a device dir name or a
    // path ("_", "/", "..", a 00 byte): such a key gives -753.
    static bool isDeviceKeyValid(std::string const& deviceId, std::string const& deviceIP);
    // A line in the query log, "recordquery.log".
    static void writeQueryLog(char const* text);

    // ---- queries ----
    int query(RecordQueryCondition const& condition, std::vector<RecordQueryResult>& results,
              bool bWithDataLength);
    int deleteRecord(RecordInfo const& info);
    int lockRecordFile(RecordInfo const& info);
    int unlockRecordFile(RecordInfo const& info);
    int getRecordDirSpaceInfoList(std::vector<RecordDirSpaceInfo>& list);
    int getMatchRecordDateList(RecordInfo const& info, std::set<std::string>& dates);
    int getMatchRecordDateList(std::vector<RecordInfo> const& infos, std::set<std::string>& dates);
    int getDeviceList(std::string const& date, std::vector<RecordInfo>& devices);
    int getRecordSummaryInfo(RecordSummaryInfo& summary);
    int getLastRecordTime(RecordInfo const& info, unsigned long& nTime);
    int getHistoryDeviceList(std::vector<RecordInfo>& devices);
    int clearDeviceRecord(std::string const& deviceId);

    // ---- playback (RecordRetrieverImplPlayback.cc) ----
    int open(RecordInfo const& info, bool bIFrameOnly);
    int read(char* buffer, int nLength);
    int locateTime(unsigned long nTime);
    int locateNextIFrame();
    int locatePreIFrame();
    int locatePreIFrame(unsigned long nTime);
    int close();

private:
    // ---- playback ----
    // Makes the file that serves the time (forward: at or after it, else at
    // or before it) the current one, with its begin and end positions.
    int updateRecordFileInfo(long long nTime, bool bForward);
    int openFile(SafePointer<RecordFileInfo> const& file);
    int locateBeginFilePos();
    int locateEndFilePos();
    bool isDirExist() const;
    bool isExistRecordingMark(RecordFileInfo const& file) const;
    // A seek of the reader that keeps the impl's view in step; false when
    // the seek failed.
    bool setFilePos(int nPos);
    void closeReader();

    bool m_bIFrameOnly = false;
    std::unique_ptr<RecordFileReaderWithIndex> m_pReader;  // null while closed
    int m_nBeginPos = 0;
    int m_nEndPos = 0;
    SafePointer<RecordFileInfo> m_currentFile;
    SafePointer<RecordFileInfo> m_preFile;
    RetrieverFileQuery m_fileQuery;

    static std::vector<RecordDirInfoEx> m_RecordDirInfoExList;  // guarded by m_DirInfoMutex
    static OVMutex m_DirInfoMutex;
};

#endif
