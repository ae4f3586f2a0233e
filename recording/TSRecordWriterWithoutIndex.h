#ifndef RECORDING_TSRECORDWRITERWITHOUTINDEX_H
#define RECORDING_TSRECORDWRITERWITHOUTINDEX_H

#include <string>

#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "recording/IRecordWriter.h"

// Writes one record file of a directory without an index (an FTP disk): the
// file's name says all there is. It begins at an I frame, may run past its
// size until the next I frame, and ends at the first I frame after
// midnight. Only the session reaches it, so it has no lock.
class TSRecordWriterWithoutIndex : public IRecordWriter {
public:
    TSRecordWriterWithoutIndex() = default;
    // Closes; a host file error on the way is logged, not thrown.
    ~TSRecordWriterWithoutIndex() override;

    int open(SafePointer<RecordFileInfo> const& info, int& nTimeLength) override;
    int write(AVData const*, bool, int) override { return -1; }
    int write(TSAVData const* data, bool bLock, int nParam) override;
    int getDirectIOoffset() override { return -1; }
    void close() override;
    bool isSameDisk(std::string const&) override { return false; }
    void setUpdateFlag() override {}
    bool getUpdateFlag() override { return false; }

    static constexpr int kWriteTimeLimitSeconds = 60;
    static constexpr double kFlushIntervalSeconds = 60.0;

private:
    int isNeedChangeFile(TSAVData const* data) const;
    int writeData(char const* data, int length);

    SafePointer<IFile> m_recordFile;
    bool m_bClosed = true;
    int m_nFileLength = 0;
    SafePointer<RecordFileInfo> m_recordFileInfo;
    unsigned long long m_nFileSegmentSize = 0;
    long long m_nFileEndTime = 0;  // next local midnight, seconds
    bool m_bWaitIFrame = true;
    double m_dLastFlushTime = 0;
    std::string m_strFileName;
};

#endif
