#ifndef HOST_HOSTPATHS_H
#define HOST_HOSTPATHS_H

#include <string>

// The fixed folders of the recorder, below a movable root so that tests and
// tools can run unprivileged in a folder of their own. The root is "" (the real
// paths) unless RECSTORE_ROOT is set in the environment at first use, or
// setRoot moves it. Any thread may call; readers see the root whole.
// Folders are not created here: whoever writes into one makes it first.
class HostPaths {
public:
    // A trailing '/' is dropped, so "" and "/" both mean the real paths.
    static void setRoot(std::string const& root);
    static std::string getRoot();

    // root + "/hd1/program/config": storageparam.ini, TSFrameQueueConfig.ini
    static std::string getConfigDir();
    // root + "/mnt/mtd/log": every rotating log
    static std::string getLogDir();
    // root + "/mnt/mtd/code/config_file": FileLockConfigure.xml, DataVersionInfoConfigure.xml
    static std::string getCodeConfigDir();
};

#endif
