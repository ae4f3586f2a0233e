#ifndef FOUNDATION_DEVICEDIRPARSER_H
#define FOUNDATION_DEVICEDIRPARSER_H

#include <string>

// Reads a device folder name "<id>_<ip>_<camera>" in place. The id ends at the
// first "_", the IP at the second, and the camera is all that follows; so an id
// may not hold "_" while an IP may hold anything else ("-" for ":" in IPv6).
//
// The parser keeps pointers into the text given to parse(), which must outlive
// every later call; the getters build fresh strings, which the caller owns.
// Not thread-safe; cheap to copy (copies share the caller's text).
class DeviceDirParser {
public:
    DeviceDirParser() = default;
    explicit DeviceDirParser(char const* pszDeviceDir) { parse(pszDeviceDir); }

    // False when the text is null or lacks the first or the second "_".
    // A failed parse leaves the parser empty.
    bool parse(char const* pszDeviceDir);
    bool isParsed() const { return m_pszText != nullptr; }

    std::string getDeviceId() const;
    std::string getDeviceIP() const;
    // The text behind the second "_" as a decimal number (optional leading
    // "-"); -1 when it is empty or not a number, so it matches no camera.
    int getCameraId() const;

private:
    char const* m_pszText = nullptr;    // caller's text; null when not parsed
    char const* m_pszFirst = nullptr;   // first "_"
    char const* m_pszSecond = nullptr;  // second "_"
};

#endif
