#ifndef HOST_LOCALPATH_H
#define HOST_LOCALPATH_H

#include <string>

// Splits the path of a local record directory into the disk it lives on and
// the rest. The device name is the first path component that names a block
// device partition: "sd", "hd", "vd" or "xvd" followed by letters and
// optional digits ("sda1", "hdb"), or "mmcblk<N>[p<M>]". The disk path runs
// up to and including that component:
//   "/mnt/sda1"          -> disk "/mnt/sda1",     device "sda1", rest ""
//   "/hd1/sdb2/rec"      -> disk "/hd1/sdb2",     device "sdb2", rest "rec"
//   "/tmp/x/disk0"       -> disk "/tmp/x/disk0",  device "",     rest ""
// A path without such a component is a disk of its own with no device name.
// Paths are kept normalised: no repeated or trailing '/'.
class LocalPath {
public:
    LocalPath() = default;

    // false (and nothing kept) for an empty path.
    bool create(std::string const& path);
    // disk path + "/" + rest.
    std::string toString() const;

    // Moves the rest onto another disk path; the device name follows it.
    void setDiskPath(std::string const& diskPath);
    std::string const& getDiskPath() const { return m_strDiskPath; }
    std::string const& getDeviceName() const { return m_strDeviceName; }
    // How a disk alarm names the disk of a path: "disk" and its device name.
    static std::string getDiskAlarmDescription(std::string const& path);
    std::string const& getRelativePath() const { return m_strRest; }

    // Which disk: the letters of sd/hd/vd/xvd counted from 0 ("sda" 0,
    // "sdb" 1, "sdaa" 26), N of mmcblkN; -1 without a device name.
    int getDiskIndex() const;
    // The partition number ("sda1" 1, "mmcblk0p2" 2); 0 for a whole disk or
    // no device name.
    int getPartitionNumber() const;

private:
    std::string m_strDiskPath;
    std::string m_strDeviceName;
    std::string m_strRest;
};

#endif
