#ifndef RECORDING_ESTOTSPACKAGER_H
#define RECORDING_ESTOTSPACKAGER_H

#include "host/MPEG_TS_Packager.h"
#include "recording/IAVDataPackager.h"

// The channel's TS packaging policy over the host's packager: one program,
// a video stream that carries the PCR and an audio stream.
// Not thread-safe: belongs to the frame queue's producer.
class ESToTSPackager : public IAVDataPackager {
public:
    ESToTSPackager();
    ~ESToTSPackager() override;

    ESToTSPackager(ESToTSPackager const&) = delete;
    ESToTSPackager& operator=(ESToTSPackager const&) = delete;

    bool reinit() override;
    void setAudioEncoderType(EncoderType::ES_STREAM_TYPE type) override;
    void setVideoEncoderType(EncoderType::ES_STREAM_TYPE type) override;
    // Refuses (0) a frame whose length plus a tenth reaches nLimit. The time
    // stamp goes from microseconds to 90 kHz ticks in place. An AVDataEX
    // frame is packed only for video.
    int packet(AVData* frame, unsigned char* out, int nLimit) override;
    int packet(AVDataEX* frame, unsigned char* out, int nLimit) override;

    // Name of an encoder type; "Unknown" for the numbers that are none.
    static char const* getStreamName(int type);

    int getVideoEncoderType() const { return m_nVideoEncoderType; }
    int getAudioEncoderType() const { return m_nAudioEncoderType; }

private:
    MPEG_TS::MPEG_TS_Packager* m_pPackager;  // owned
    int m_nVideoHandle;
    int m_nAudioHandle;
    int m_nAudioEncoderType;
    int m_nVideoEncoderType;
};

#endif
