#ifndef FOUNDATION_TIMESTAMPCALCULATOR_H
#define FOUNDATION_TIMESTAMPCALCULATOR_H

class AVData;
class AVDataEX;

// Time base of one TS stream. Video time is the distance from the first frame
// of the run, laid on a line that begins at the base; audio rides on the last
// video time so that it never runs ahead of the picture.
// Not thread-safe: one calculator belongs to one stream's producer.
class TimeStampCalculator {
public:
    TimeStampCalculator() = default;

    // Starts a run: base = nBase (microseconds), first frame time forgotten.
    // nFrameRate is kept for the caller's diagnostics only.
    void start(long long nBase, unsigned int nFrameRate);

    // Microseconds on the stream's line; a null frame answers the last result.
    long long getTimeStamp(AVData* pData);
    long long getTimeStamp(AVDataEX* pData);

    long long getBaseTime() const { return m_nBaseTime; }
    unsigned int getFrameRate() const { return m_nFrameRate; }

private:
    long long calculate(int nESStreamType, long long nFrameTime);

    long long m_nBaseTime = 0;
    long long m_nFirstTime = 0;      // 0 until the first video frame of a run
    long long m_nLastTimeStamp = 0;  // the last result
    unsigned int m_nFrameRate = 0;
};

#endif
