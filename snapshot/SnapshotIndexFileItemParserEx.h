#ifndef SNAPSHOT_SNAPSHOTINDEXFILEITEMPARSEREX_H
#define SNAPSHOT_SNAPSHOTINDEXFILEITEMPARSEREX_H

#include <memory>
#include <string>
#include <vector>

#include "snapshot/SnapshotFile.h"
#include "snapshot/SnapshotQueryCondition.h"

// One entry of a data-file snapshot index image: the head naming a data
// file and its begin time, then 9-byte items. The i-th picture lies in the
// data file at the sum of the lengths of items 0 to i-1, deleted ones
// included: deletion never moves data.
//
// Works on the caller's image (marks are painted into it); the image must
// outlive the parser. Not thread-safe.
class SnapshotIndexFileItemParserEx {
public:
    // entry points at the start code; headLength is the raw head's,
    // totalLength runs to the last item byte.
    void setIndexFileInfo(char* entry, int headLength, int totalLength);
    // The channel that query answers carry.
    void setDeviceInfo(std::string const& deviceId, std::string const& deviceIP, int cameraId);
    // Unescapes a private copy of the head and reads it: 0, or -1 when it
    // holds no comma or no begin time.
    int parseFileInfo();

    long long getSnapshotBeginTime() const { return m_nBeginTime; }  // seconds
    // Milliseconds: the begin time plus the last item's time stamp.
    long long getSnapshotFileEndTime() const;
    std::string const& getSnapshotFileName() const { return m_strFileName; }
    int getHeadLength() const { return m_nHeadLen; }
    int getTotalLength() const { return m_nTotalLen; }
    int getItemCount() const { return (m_nTotalLen - m_nHeadLen) / kItemSize; }
    // Sum of all item lengths, deleted ones included.
    int getFileSize() const;
    // Size as above and the last item's time stamp; 0 and 0 without items.
    int getFileSizeAndTimeInterval(int& nSize, int& nInterval) const;
    // The last item's burst mode; -1 without items.
    int getLastBurstMode() const;
    // Length of the first item at exactly nTime (ms); -1 when none.
    int getIndexItemDataLen(long long nTime) const;
    // Length and data file position of the first item at exactly nTime
    // (ms), deleted or not: 0, or -1 when none.
    int getImageDataLenAndFilePos(long long nTime, int& nLength, int& nPos) const;
    // Paints the whole entry FF in the image.
    void deleteIndexFileInfo();
    // Marks the item at nIndex deleted; its mask's offset in the entry.
    int deleteIndexItem(int nIndex);
    // Marks the first not yet deleted item at exactly nTime (ms): its mask's
    // offset in the entry, or -1. bAllDeleted tells whether none is left.
    int deleteIndexItem(long long nTime, bool& bAllDeleted);
    // Marks the valid items whose whole second lies in [nBegin, nEnd]
    // (seconds), appending their mask offsets.
    void deleteIndexItemInSegment(long long nBegin, long long nEnd, std::vector<int>& offsets, bool& bAllDeleted);
    bool isAllDeleted() const;
    // Appends the valid items in [begin, end) of the condition whose burst
    // mode matches (type 0 takes all).
    void getSnapshotList(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list, int nPolicyType);
    // The handle of the picture at nOffset ms from the begin time:
    // "<id>_<ip>_<camera>_YYYYMMDDhhmmssmmm_<type>.jpg".
    std::string createFileName(long long nOffset, int nType) const;

private:
    static constexpr int kItemSize = 9;
    unsigned char* item(int nIndex) const;

    char* m_pszEntry = nullptr;  // caller's image
    std::unique_ptr<char[]> m_pszIndexFileHead;
    int m_nTotalLen = 0;
    int m_nHeadLen = 0;
    long long m_nBeginTime = 0;
    std::string m_strFileName;
    int m_nCameraId = 0;
    std::string m_strDeviceId;
    std::string m_strDeviceIP;
};

#endif
