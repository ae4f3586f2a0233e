#ifndef RECORDING_IAVDATAPACKAGER_H
#define RECORDING_IAVDATAPACKAGER_H

#include "foundation/AVData.h"
#include "foundation/EncoderType.h"

// Kinds of packaging a frame queue may ask for; only TS is in use.
enum DataPackageType {
    DataPackageTS = 0,
};

// Turns one elementary stream frame into container bytes at a given
// address. One packager belongs to one channel's producer thread.
class IAVDataPackager {
public:
    virtual ~IAVDataPackager() = default;

    virtual bool reinit() = 0;
    virtual void setAudioEncoderType(EncoderType::ES_STREAM_TYPE type) = 0;
    virtual void setVideoEncoderType(EncoderType::ES_STREAM_TYPE type) = 0;
    // Packs `frame` at `out`, which has room for nLimit bytes. The frame's
    // time stamp is rewritten in place to the container's clock. Answers the
    // bytes written; 0 when nothing was packed.
    virtual int packet(AVData* frame, unsigned char* out, int nLimit) = 0;
    virtual int packet(AVDataEX* frame, unsigned char* out, int nLimit) = 0;

    // Whether a frame of `length` bytes may be packed within nLimit: room for
    // its bytes and a tenth more of packet overhead.
    static bool fits(unsigned long long length, int nLimit) {
        return nLimit > 0 && length + length / 10 < static_cast<unsigned long long>(nLimit);
    }
};

#endif
