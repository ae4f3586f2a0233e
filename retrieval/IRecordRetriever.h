#ifndef RETRIEVAL_IRECORDRETRIEVER_H
#define RETRIEVAL_IRECORDRETRIEVER_H

#include "foundation/RecordInfo.h"

// Playback of stored recordings as the host sees it: open a time window of
// one channel, read it as one TS stream, jump by time or by I-frame.
class IRecordRetriever {
public:
    virtual ~IRecordRetriever() = default;

    virtual int open(RecordInfo const& info, bool bIFrameOnly) = 0;
    // Bytes read; 0 at the end of the window; a negative code.
    virtual int read(char* buffer, int nLength) = 0;
    virtual int locateTime(unsigned long nTime) = 0;
    virtual int locateNextIFrame() = 0;
    virtual int locatePreIFrame() = 0;
    virtual int locatePreIFrame(unsigned long nTime) = 0;
    virtual int close() = 0;
    virtual int openFtpRecord(char const* fileName) = 0;
};

#endif
