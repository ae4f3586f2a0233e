#include "host/XmlConfigureNode.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace NS_XmlConfigureNode {

// The shortest text that reads back as the same double.
std::string formatDouble(double value) {
    char buffer[64];
    for (int precision = 1; precision <= 17; ++precision) {
        std::snprintf(buffer, sizeof(buffer), "%.*g", precision, value);
        if (std::strtod(buffer, nullptr) == value) break;
    }
    return buffer;
}

bool parseLongLong(std::string const& text, long long& value) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    long long parsed = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str() || *end != '\0') return false;
    value = parsed;
    return true;
}

}  // namespace NS_XmlConfigureNode

XmlConfigureNode::XmlConfigureNode(std::string const& name, int nType)
    : m_strName(name), m_nType(nType) {}

void XmlConfigureNode::setProperty(std::string const& key, std::string const& value) {
    for (auto& property : m_properties) {
        if (property.first == key) {
            property.second = value;
            return;
        }
    }
    m_properties.emplace_back(key, value);
}

void XmlConfigureNode::setProperty(std::string const& key, char const* value) {
    setProperty(key, std::string(value ? value : ""));
}

void XmlConfigureNode::setProperty(std::string const& key, int value) {
    setProperty(key, std::to_string(value));
}

void XmlConfigureNode::setProperty(std::string const& key, long long value) {
    setProperty(key, std::to_string(value));
}

void XmlConfigureNode::setProperty(std::string const& key, double value) {
    setProperty(key, NS_XmlConfigureNode::formatDouble(value));
}

bool XmlConfigureNode::getProperty(std::string const& key, std::string& value) const {
    for (auto const& property : m_properties) {
        if (property.first == key) {
            value = property.second;
            return true;
        }
    }
    return false;
}

bool XmlConfigureNode::getProperty(std::string const& key, long long& value) const {
    std::string text;
    return getProperty(key, text) && NS_XmlConfigureNode::parseLongLong(text, value);
}

bool XmlConfigureNode::getProperty(std::string const& key, int& value) const {
    long long wide = 0;
    if (!getProperty(key, wide)) return false;
    if (wide < -2147483647LL - 1 || wide > 2147483647LL) return false;
    value = static_cast<int>(wide);
    return true;
}

bool XmlConfigureNode::getProperty(std::string const& key, double& value) const {
    std::string text;
    if (!getProperty(key, text) || text.empty()) return false;
    char* end = nullptr;
    double parsed = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0') return false;
    value = parsed;
    return true;
}

bool XmlConfigureNode::hasProperty(std::string const& key) const {
    std::string ignored;
    return getProperty(key, ignored);
}

bool XmlConfigureNode::removeProperty(std::string const& key) {
    for (auto it = m_properties.begin(); it != m_properties.end(); ++it) {
        if (it->first == key) {
            m_properties.erase(it);
            return true;
        }
    }
    return false;
}

void XmlConfigureNode::addConfigNode(XmlConfigureNode const& node) { m_children.push_back(node); }

bool XmlConfigureNode::getConfigNode(std::string const& name, XmlConfigureNode& node) const {
    for (XmlConfigureNode const& child : m_children) {
        if (child.m_strName == name) {
            node = child;
            return true;
        }
    }
    return false;
}

XmlConfigureNode* XmlConfigureNode::findConfigNode(std::string const& name) {
    for (XmlConfigureNode& child : m_children)
        if (child.m_strName == name) return &child;
    return nullptr;
}

int XmlConfigureNode::getConfigNodeList(std::string const& name,
                                        std::vector<XmlConfigureNode>& list) const {
    int count = 0;
    for (XmlConfigureNode const& child : m_children) {
        if (!name.empty() && child.m_strName != name) continue;
        list.push_back(child);
        ++count;
    }
    return count;
}

int XmlConfigureNode::removeConfigNode(std::string const& name) {
    int count = 0;
    for (auto it = m_children.begin(); it != m_children.end();) {
        if (name.empty() || it->m_strName == name) {
            it = m_children.erase(it);
            ++count;
        } else {
            ++it;
        }
    }
    return count;
}
