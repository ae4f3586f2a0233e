#include "host/XmlConfigureTool.h"

#include "host/AtomicFile.h"
#include "host/XmlCodec.h"

XmlConfigureTool::~XmlConfigureTool() { close(); }

bool XmlConfigureTool::open(std::string const& file, int, OPEN_MODE mode) {
    close();
    XmlConfigureNode root("", 1);
    if (mode != TRUNCATE) {
        std::string bytes;
        bool present = AtomicFile::read(file, bytes);
        if (!present && mode != CREATE) return false;
        if (present && !XmlCodec::parse(bytes, root, nullptr)) return false;
    }
    m_root = root;
    m_strFile = file;
    m_mode = mode;
    m_bOpen = true;
    return true;
}

bool XmlConfigureTool::save() {
    if (!m_bOpen || m_mode == READ_ONLY || m_root.getName().empty()) return false;
    return AtomicFile::write(m_strFile, XmlCodec::format(m_root));
}

bool XmlConfigureTool::close() {
    if (!m_bOpen) return true;
    bool ok = m_mode == READ_ONLY ? true : save();
    m_bOpen = false;
    m_root = XmlConfigureNode("", 1);
    m_strFile.clear();
    return ok;
}

void XmlConfigureTool::setRootNodeName(std::string const& name) { m_root.setName(name); }

void XmlConfigureTool::addConfigNode(XmlConfigureNode const& node) { m_root.addConfigNode(node); }

bool XmlConfigureTool::getConfigNode(std::string const& name, XmlConfigureNode& node) const {
    return m_root.getConfigNode(name, node);
}

XmlConfigureNode* XmlConfigureTool::findConfigNode(std::string const& name) {
    return m_root.findConfigNode(name);
}

int XmlConfigureTool::getConfigNodeList(std::string const& name,
                                        std::vector<XmlConfigureNode>& list) const {
    return m_root.getConfigNodeList(name, list);
}

int XmlConfigureTool::removeConfigNode(std::string const& name) {
    return m_root.removeConfigNode(name);
}
