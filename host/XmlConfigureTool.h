#ifndef HOST_XMLCONFIGURETOOL_H
#define HOST_XMLCONFIGURETOOL_H

#include <string>
#include <vector>

#include "host/XmlConfigureNode.h"

// One configuration XML file, held in memory between open and close. Not
// thread-safe; one owner.
class XmlConfigureTool {
public:
    enum OPEN_MODE {
        READ_ONLY = 0,   // the file must exist and parse; close writes nothing
        READ_WRITE = 1,  // the file must exist and parse; close writes it back
        CREATE = 2,      // as READ_WRITE, but a missing file starts empty
        TRUNCATE = 3     // start empty whatever is there; close writes
    };

    XmlConfigureTool() = default;
    ~XmlConfigureTool();  // closes, writing back in the write modes

    // `nFlag` is reserved and ignored. A malformed file fails in every mode
    // but TRUNCATE, and is left as it is. An open file is closed first.
    bool open(std::string const& file, int nFlag, OPEN_MODE mode);
    // Writes back atomically (temporary file, fsync, rename) in the write
    // modes; false if that failed. The document is forgotten either way.
    bool close();
    // Writes back without closing; false in READ_ONLY or on failure.
    bool save();
    bool isOpen() const { return m_bOpen; }

    void setRootNodeName(std::string const& name);
    std::string const& getRootNodeName() const { return m_root.getName(); }
    XmlConfigureNode& getRootNode() { return m_root; }

    // The same operations as on the root node.
    void addConfigNode(XmlConfigureNode const& node);
    bool getConfigNode(std::string const& name, XmlConfigureNode& node) const;
    XmlConfigureNode* findConfigNode(std::string const& name);
    int getConfigNodeList(std::string const& name, std::vector<XmlConfigureNode>& list) const;
    int removeConfigNode(std::string const& name);

private:
    std::string m_strFile;
    OPEN_MODE m_mode = READ_ONLY;
    bool m_bOpen = false;
    XmlConfigureNode m_root{"", 1};
};

#endif
