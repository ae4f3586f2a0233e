#ifndef FOUNDATION_FRAMEQUEUESIZEMANAGER_H
#define FOUNDATION_FRAMEQUEUESIZEMANAGER_H

#include <string>

// Size of a channel's frame queue ring, chosen by how many channels the
// recorder has, from HostPaths::getConfigDir() + "/TSFrameQueueConfig.ini".
// Stateless: the file is read on every call; any thread.
class FrameQueueSizeManager {
public:
    static char const* const kConfigFileName;   // "TSFrameQueueConfig.ini"
    static int const kDefaultQueueSize = 0x300000;  // 3 MiB
    static int const kMinQueueSizeMiB = 1;
    static int const kMaxQueueSizeMiB = 10;

    // Below 5 channels "04ChunnelSize", up to 8 "08ChunnelSize", up to 16
    // "16ChunnelSize", up to 32 "32ChunnelSize"; more channels get 3 MiB.
    static int getFrameQueueSize(int nChannels);
    // The key's value in MiB, 1 to 10, as bytes; 3 MiB when the file does not
    // open, the key is absent, or the value lies outside.
    static int getTSFrameQueueSizeByConfig(std::string const& key);
    static std::string getConfigFileName();
};

#endif
