#ifndef HOST_NETPATH_H
#define HOST_NETPATH_H

#include <string>

// The path of a network-attached record directory. Accepted forms:
//   "server:/export"          (NFS; the whole path is the export)
//   "//server/share[/sub]"    (SMB; a sub-folder of the share may follow)
//   "/local/mount/point"      (already mounted)
// The mount path is where the share is mounted locally: for the two remote
// forms HostPaths' root + "/mnt/nas/<server>/<export or share, '/' turned
// into '_'>"; for a local path, the path itself (normalised).
class NetPath {
public:
    NetPath() = default;

    // false for an empty or unrecognised text; nothing kept then.
    bool create(std::string const& path);

    std::string const& getMountPath() const { return m_strMountPath; }
    std::string const& getServer() const { return m_strServer; }
    std::string const& getShare() const { return m_strShare; }
    std::string const& getSubPath() const { return m_strSubPath; }
    // Mount path + "/" + sub path.
    std::string toString() const;

    // `path` without repeated or trailing '/'.
    static std::string normalise(std::string const& path);

private:
    std::string m_strMountPath;
    std::string m_strServer;
    std::string m_strShare;
    std::string m_strSubPath;
};

#endif
