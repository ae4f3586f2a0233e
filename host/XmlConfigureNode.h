#ifndef HOST_XMLCONFIGURENODE_H
#define HOST_XMLCONFIGURENODE_H

#include <string>
#include <utility>
#include <vector>

// One element of a configuration XML file: a name, properties (attributes,
// kept in order), text and child elements. A plain value: copies are deep.
// The int given at construction is a tag of the caller's (1 conventionally
// marks a root); it is not written to the file.
class XmlConfigureNode {
public:
    explicit XmlConfigureNode(std::string const& name = "", int nType = 0);

    std::string const& getName() const { return m_strName; }
    void setName(std::string const& name) { m_strName = name; }
    int getType() const { return m_nType; }

    // Set or replace a property. Doubles are written with enough digits to
    // read back the same value.
    void setProperty(std::string const& key, int value);
    void setProperty(std::string const& key, long long value);
    void setProperty(std::string const& key, double value);
    void setProperty(std::string const& key, std::string const& value);
    void setProperty(std::string const& key, char const* value);

    // false, and `value` left alone, if the key is absent or does not parse
    // as the asked type entirely.
    bool getProperty(std::string const& key, int& value) const;
    bool getProperty(std::string const& key, long long& value) const;
    bool getProperty(std::string const& key, double& value) const;
    bool getProperty(std::string const& key, std::string& value) const;
    bool hasProperty(std::string const& key) const;
    bool removeProperty(std::string const& key);
    std::vector<std::pair<std::string, std::string>> const& getProperties() const {
        return m_properties;
    }

    // The element's text (the concatenated text between its tags, trimmed).
    std::string const& getText() const { return m_strText; }
    void setText(std::string const& text) { m_strText = text; }

    // Appends a copy of `node` as the last child.
    void addConfigNode(XmlConfigureNode const& node);
    // Copies the first child named `name` into `node`; false if none.
    bool getConfigNode(std::string const& name, XmlConfigureNode& node) const;
    // The first child named `name`, for changing in place; null if none. The
    // pointer is valid until children are added or removed.
    XmlConfigureNode* findConfigNode(std::string const& name);
    // Appends copies of the children named `name` (all children for ""), in
    // file order; answers how many.
    int getConfigNodeList(std::string const& name, std::vector<XmlConfigureNode>& list) const;
    // Removes the children named `name` (all for ""); answers how many.
    int removeConfigNode(std::string const& name);
    std::vector<XmlConfigureNode> const& getChildren() const { return m_children; }
    std::vector<XmlConfigureNode>& getChildren() { return m_children; }

private:
    std::string m_strName;
    int m_nType;
    std::vector<std::pair<std::string, std::string>> m_properties;
    std::string m_strText;
    std::vector<XmlConfigureNode> m_children;
};

#endif
