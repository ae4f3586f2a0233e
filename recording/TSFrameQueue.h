#ifndef RECORDING_TSFRAMEQUEUE_H
#define RECORDING_TSFRAMEQUEUE_H

#include <deque>
#include <vector>

#include "foundation/TSAVData.h"
#include "host/OVMutex.h"

// A channel's queue of TS blocks between the frame source and the session.
// This form holds whole blocks as they are given; it keeps the session's side
// of the contract: blocks come out in order, and updata() carries the time
// line of the waiting blocks on from a continued file, failing when the
// waiting data is not TS.
class TSFrameQueue {
public:
    explicit TSFrameQueue(int nSize = 0);

    // Appends a block of TS packets; false when it does not fit.
    bool pushBlock(TSAVData const& block);

    // The front block, valid until popAVData(); false when empty.
    bool frontAVData(TSAVData** out);
    void popAVData();
    bool isEmpty();
    void clean();

    // Moves the time line of the waiting blocks to continue from `nTimeStamp`
    // microseconds. False, and the queue emptied, when a waiting block does
    // not begin with a TS sync byte.
    bool updata(long long nTimeStamp, int nDirectIOoffset);

    // Offset given by the last successful updata().
    long long getTimeLineBase();

private:
    struct Block {
        TSAVData header;
        std::vector<char> bytes;
    };

    std::deque<Block> m_blocks;  // guarded by m_mutex
    TSAVData m_outData;
    long long m_nTimeLineBase = 0;  // guarded by m_mutex
    size_t m_nBytes = 0;            // guarded by m_mutex
    int m_nSize;
    OVMutex m_mutex;
};

#endif
