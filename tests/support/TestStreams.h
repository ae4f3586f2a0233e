#ifndef TESTS_SUPPORT_TESTSTREAMS_H
#define TESTS_SUPPORT_TESTSTREAMS_H

#include <string>
#include <vector>

#include "foundation/AVData.h"

// Frames from the shipped test streams (RECSTORE_TESTDATA_DIR): H.264 Annex B
// files cut into access units, G.711 A-law files cut into 20 ms frames.
// Frames come out as the host would push them: time stamps in microseconds,
// sequence ids counting from 1, every field a queue looks at filled in.
class TestStreams {
public:
    struct VideoOptions {
        long long nFirstTime = 1704110400LL * 1000000;  // 2024-01-01 12:00:00 UTC
        long long nStep = 40000;                         // 25 fps
        int nWidth = 1280;
        int nHeight = 720;
        int nFrameRate = 25;
        int nEncoderType = 1;  // H.264
    };
    struct AudioOptions {
        long long nFirstTime = 1704110400LL * 1000000;
        long long nStep = 20000;
        int nFrameBytes = 160;
        int nEncoderType = 102;  // G.711 A-law
    };

    // One access unit of an Annex B stream, start codes included.
    struct AccessUnit {
        std::vector<char> bytes;
        bool bIdr = false;  // holds a NAL unit of type 5
    };

    // The whole file; empty when it cannot be read.
    static std::vector<char> readFile(std::string const& path);

    // Cuts an Annex B stream into access units. A unit begins at an access
    // unit delimiter, SPS, PPS or SEI that follows a slice, or at a slice
    // whose first_mb_in_slice is 0 that follows a slice; parameter sets and
    // SEI belong to the slice after them.
    static std::vector<AccessUnit> splitAccessUnits(std::vector<char> const& stream);

    // Video frames: ES type 1, frame type 1 for an IDR unit and 2 otherwise.
    static std::vector<AVData> readH264(std::string const& path, VideoOptions const& options);
    static std::vector<AVData> readH264(std::string const& path) { return readH264(path, VideoOptions()); }

    // Audio frames of nFrameBytes (a short tail is dropped): ES type 2,
    // frame type 1.
    static std::vector<AVData> readALaw(std::string const& path, AudioOptions const& options);
    static std::vector<AVData> readALaw(std::string const& path) { return readALaw(path, AudioOptions()); }

    // Both lists merged by time stamp, video first at equal times.
    static std::vector<AVData> interleave(std::vector<AVData> const& video, std::vector<AVData> const& audio);
};

#endif
