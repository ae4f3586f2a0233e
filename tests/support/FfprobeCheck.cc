#include "tests/support/FfprobeCheck.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

bool FfprobeCheck::available() {
    return std::system("ffprobe -version >/dev/null 2>&1") == 0 &&
           std::system("ffmpeg -version >/dev/null 2>&1") == 0;
}

std::string FfprobeCheck::run(std::string const& command) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return out;
    char buffer[4096];
    size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0) out.append(buffer, n);
    pclose(pipe);
    return out;
}

std::vector<std::string> FfprobeCheck::codecNames(std::string const& file) {
    std::vector<std::string> names;
    // Streams are listed once per program and once on their own: the last
    // list is the one in stream order.
    std::istringstream lines(
        run("ffprobe -v error -show_entries stream=index,codec_name -of csv=p=0 '" + file +
            "' 2>/dev/null"));
    std::string line;
    while (std::getline(lines, line)) {
        size_t const comma = line.find(',');
        if (comma == std::string::npos) continue;
        size_t const index = static_cast<size_t>(std::atoi(line.c_str()));
        if (index == 0) names.clear();
        if (names.size() == index) names.push_back(line.substr(comma + 1));
    }
    return names;
}

std::vector<double> FfprobeCheck::packetTimes(std::string const& file, int index) {
    std::vector<double> times;
    std::istringstream lines(run("ffprobe -v error -select_streams " + std::to_string(index) +
                                 " -show_entries packet=pts_time -of csv=p=0 '" + file + "' 2>/dev/null"));
    std::string line;
    while (std::getline(lines, line)) {
        if (line.empty() || line == "N/A") continue;
        times.push_back(std::atof(line.c_str()));
    }
    return times;
}

std::string FfprobeCheck::decodeErrors(std::string const& file) {
    return run("ffmpeg -nostdin -v error -i '" + file + "' -f null - 2>&1");
}
