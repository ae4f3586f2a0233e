#ifndef FOUNDATION_ENCODERTYPE_H
#define FOUNDATION_ENCODERTYPE_H

// Encoders of the elementary streams, and the small vocabularies of frames
// and disks shared by every layer.
namespace EncoderType {
enum ES_STREAM_TYPE {
    MPEG4 = 0,
    H264 = 1,
    MJPEG = 2,
    SVC = 3,
    G723_1 = 101,
    G711_ALAW = 102,
    G711_ULAW = 103,
    G722 = 104,
    G726 = 105,
    G729 = 106,
    AMR = 107,
    NONE = 255,  // no encoder set
};
}  // namespace EncoderType

namespace ESStream {
constexpr int kVideo = 1;
constexpr int kAudio = 2;
}  // namespace ESStream

namespace FrameKind {
constexpr int kIFrame = 1;
constexpr int kPFrame = 2;
}  // namespace FrameKind

namespace DiskKind {
constexpr int kLocal = 1;
constexpr int kCard = 2;
constexpr int kFtp = 3;
constexpr int kNas = 4;
}  // namespace DiskKind

// A directory reserved for the dedicated storage condition of a session.
constexpr int kDedicatedDirAttribute = 4;

#endif
