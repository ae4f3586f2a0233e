#ifndef HOST_MPEG_TS_PACKAGER_H
#define HOST_MPEG_TS_PACKAGER_H

#include <string>
#include <vector>

#include "foundation/AVData.h"
#include "foundation/EncoderType.h"

namespace MPEG_TS {

int const kTsPacketSize = 188;
unsigned char const kSyncByte = 0x47;
unsigned short const kPatPid = 0x0000;
unsigned short const kFirstStreamPid = 0x0100;
unsigned short const kDefaultPmtPid = 0x1000;
unsigned short const kProgramNumber = 1;

// Turns elementary stream frames into whole 188-byte transport stream packets
// of one program (ISO/IEC 13818-1; every field big-endian on the wire).
//
// A frame becomes one PES packet with its PTS, cut into packets of its
// stream's PID; the last one is filled with adaptation-field stuffing, so a
// frame always ends on a packet boundary. The first packet of a frame of the
// PCR stream carries the PCR, equal to the PTS. A video I frame gets the PAT
// and PMT in front of it and a random access mark, and carries the frame's
// private data in its first packet, so every block that opens with an I
// frame stands alone: up to 174 bytes, which leave room beside a PCR for the
// first byte of the PES packet; longer private data is left out. A frame
// with the discontinuity indicator set carries it in the same field.
// Continuity counters run per PID.
//
// Time stamps handed in are 90 kHz ticks (taken modulo 2^33).
// Output is written straight to the caller's address; the caller provides
// room: ceil((length + 14 + a) / 184) packets, a being the adaptation field
// of the first packet (8 with a PCR, 9 + n more with n bytes of private
// data), and 2 more for the tables in front of an I frame.
//
// Not thread-safe: one packager belongs to one stream's producer.
class MPEG_TS_Packager {
public:
    // nMaxPackets caps the PIDs this packager hands out (program and
    // streams together).
    explicit MPEG_TS_Packager(unsigned short nMaxPackets);

    // The program's PMT goes on `pid` (0x1000 when not called or the PID is
    // not usable). Answers the program number, or -1.
    int addProgram(unsigned short pid, std::string const& name);
    // A stream keyed by `pid`: it gets that PID when usable and free, else
    // the next free one from 0x0100 (PIDs below 0x0020 are reserved). The
    // same key again changes that stream's type and keeps its PID and
    // counter; the PMT version moves on. Answers the stream handle, or -1.
    int addStreamEx(unsigned short pid, EncoderType::ES_STREAM_TYPE type);
    // PCR rides on this stream's frames; false for an unknown handle.
    bool setPCR_stream(unsigned short handle);

    // Packs one frame; answers the number of packets written, 0 for an
    // unknown handle, no frame or an empty one.
    int EStoTS_Packet(int handle, unsigned char* out, AVData const* frame);
    int EStoTS_Packet(int handle, unsigned char* out, AVDataEX const* frame);

    // Adds `delta` ticks (modulo 2^33) to every PCR, PTS and DTS of whole
    // packets in `buffer`. Answers the last new PTS (or PCR when a buffer has
    // no PTS) in ticks, 0 when it has none, -1 when the length is not whole
    // packets or a packet does not begin with 0x47 (packets before it are
    // already changed).
    static long long adjustTimeStamp(unsigned char* buffer, unsigned int length,
                                     unsigned long long delta);

    // The PMT stream_type of an encoder: 0x1B H.264 and SVC, 0x10 MPEG-4
    // video, 0x06 (PES private data, with a registration descriptor naming
    // the codec) for MJPEG and every audio encoder, which have no stream
    // type of their own.
    static unsigned char getStreamType(int encoderType);

    unsigned short getPmtPid() const { return m_nPmtPid; }
    // 0x1FFF for an unknown handle.
    unsigned short getStreamPid(int handle) const;
    std::string const& getProgramName() const { return m_strProgramName; }

private:
    struct Stream {
        unsigned short nKey;
        unsigned short nPid;
        int nEncoderType;
        bool bVideo;
        unsigned char nContinuity;
    };
    struct Piece {
        unsigned char const* pData;
        unsigned int nLength;
    };

    int packFrame(int handle, unsigned char* out, AVFrameFields const& fields,
                  std::vector<Piece> const& pieces, unsigned int length);
    void writeTables(unsigned char* out);
    int writeSection(unsigned char* out, unsigned short pid, unsigned char& continuity,
                     unsigned char const* section, int length);
    bool pidInUse(unsigned short pid) const;
    unsigned short allocatePid(unsigned short wanted) const;

    unsigned short m_nMaxPids;
    unsigned short m_nPmtPid;
    std::string m_strProgramName;
    std::vector<Stream> m_streams;
    int m_nPcrHandle;
    unsigned char m_nPatContinuity;
    unsigned char m_nPmtContinuity;
    unsigned char m_nPmtVersion;
    std::vector<Piece> m_pieces;  // scratch, reused per frame
};

}  // namespace MPEG_TS

#endif
