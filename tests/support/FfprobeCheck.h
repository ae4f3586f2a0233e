#ifndef TESTS_SUPPORT_FFPROBECHECK_H
#define TESTS_SUPPORT_FFPROBECHECK_H

#include <string>
#include <vector>

// Asks the installed ffprobe and ffmpeg about a file, so tests check the
// streams written with a standard demuxer and decoder.
class FfprobeCheck {
public:
    // True when ffprobe and ffmpeg can be run.
    static bool available();
    // Standard output of a shell command.
    static std::string run(std::string const& command);

    // codec_name of every stream, in stream order.
    static std::vector<std::string> codecNames(std::string const& file);
    // pts_time of every packet of stream `index`, in file order.
    static std::vector<double> packetTimes(std::string const& file, int index);
    // What `ffmpeg -v error -i FILE -f null -` prints (empty when clean).
    static std::string decodeErrors(std::string const& file);
};

#endif
