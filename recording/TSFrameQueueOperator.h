#ifndef RECORDING_TSFRAMEQUEUEOPERATOR_H
#define RECORDING_TSFRAMEQUEUEOPERATOR_H

class CircleQueue;
class CommonLog;

// Compresses a frame queue's rings to their I frames, for a host that must
// free room at once. Used by one thread at a time, with the queue's
// producer and consumer held off by the caller.
class TSFrameQueueOperator {
public:
    // nSize: bytes of the scratch buffer (at least what is to be kept).
    TSFrameQueueOperator(int nSize, char const* device, int camera);
    ~TSFrameQueueOperator();

    TSFrameQueueOperator(TSFrameQueueOperator const&) = delete;
    TSFrameQueueOperator& operator=(TSFrameQueueOperator const&) = delete;

    // Keeps, for every block that opens with an I frame, firstFrameLen +
    // getFirstPFrameLen() bytes from its start (the accessor reads the frame
    // count), with frameNum 1, or 2 when that count is non-zero; everything
    // else is thrown away. Blocks are kept in order until the buffer is full.
    // Logs the fill before and after.
    void discardPFrame(CircleQueue* data, CircleQueue* marks);

private:
    char* m_pBuffer;  // owned, m_nSize bytes
    int m_nSize;
    CommonLog* m_pCommonLog;  // owned
};

#endif
