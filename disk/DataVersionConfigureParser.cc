#include "disk/DataVersionConfigureParser.h"

#include <cstdio>

#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/XmlConfigureTool.h"

namespace NS_DataVersionConfigureParser {
constexpr char const* kRoot = "DataVersionInfoConfigure";
constexpr char const* kCurrent = "CurrentDataVersion";
constexpr char const* kVersion = "DataVersion";
constexpr char const* kCompatible = "CompatibleDataVersion";
constexpr char const* kValue = "Value";
constexpr char const* kAbility = "MaxAccessAbility";

XmlConfigureNode valueNode(char const* name, double value) {
    XmlConfigureNode node(name);
    node.setProperty(kValue, value);
    return node;
}

// A known version as <DataVersion><Value Value=../><MaxAccessAbility Value=../>
// <CompatibleDataVersion Value=../>...</DataVersion>.
bool readVersion(XmlConfigureNode const& node, DataVersionInfo& info) {
    XmlConfigureNode child;
    double version = 0.0;
    if (!node.getConfigNode(kValue, child) || !child.getProperty(kValue, version)) return false;
    info.setDataVersion(version);
    int ability = 0;
    if (node.getConfigNode(kAbility, child) && child.getProperty(kValue, ability)) info.setMaxAccessAbility(ability);
    std::vector<XmlConfigureNode> compatibles;
    node.getConfigNodeList(kCompatible, compatibles);
    for (XmlConfigureNode const& compatible : compatibles) {
        double older = 0.0;
        if (compatible.getProperty(kValue, older)) info.addCompatibleDataVersion(older);
    }
    return true;
}

XmlConfigureNode writeVersion(DataVersionInfo const& info) {
    XmlConfigureNode node(kVersion);
    node.addConfigNode(valueNode(kValue, info.getDataVersion()));
    XmlConfigureNode ability(kAbility);
    ability.setProperty(kValue, info.getMaxAccessAbility());
    node.addConfigNode(ability);
    std::vector<double> compatibles;
    info.getCompatibleDataVersionList(compatibles);
    for (double older : compatibles) node.addConfigNode(valueNode(kCompatible, older));
    return node;
}
}  // namespace NS_DataVersionConfigureParser

void DataVersionConfigureParser::report(char const* text, int line) {
    if (GlobalEnv::getInstance()->getPrintFlag()) std::printf("%s\n", text);
    Logger::writeLog("DataVersion", text, __FILE__, line);
}

bool DataVersionConfigureParser::parser(std::string const& file, DataVersionInfo& current,
                                        std::vector<DataVersionInfo>& versions) const {
    using namespace NS_DataVersionConfigureParser;
    char text[512];
    XmlConfigureTool tool;
    if (!tool.open(file, 0, XmlConfigureTool::READ_ONLY)) {
        std::snprintf(text, sizeof(text), "DataVersionConfigureParser::parser, open(%s) failed \n", file.c_str());
        report(text, __LINE__);
        return false;
    }
    XmlConfigureNode node;
    if (tool.getRootNodeName() != kRoot || !tool.getConfigNode(kCurrent, node)) {
        report("DataVersionConfigureParser::parser, get current dataversion failed ", __LINE__);
        return false;
    }
    double version = 0.0;
    if (!node.getProperty(kValue, version)) {
        report("DataVersionConfigureParser::parser, getProperty(CurrentDataVersion) failed", __LINE__);
        return false;
    }
    int ability = 0;
    if (!node.getProperty(kAbility, ability)) {
        report("DataVersionConfigureParser::parser, getProperty(MaxAccessAbility) failed ", __LINE__);
        return false;
    }
    std::vector<XmlConfigureNode> nodes;
    tool.getConfigNodeList(kVersion, nodes);
    std::vector<DataVersionInfo> known;
    for (XmlConfigureNode const& entry : nodes) {
        DataVersionInfo info;
        if (readVersion(entry, info)) known.push_back(info);
    }
    current = DataVersionInfo(version, ability);
    // The current version's own entry says what it can read.
    for (DataVersionInfo const& info : known) {
        if (!DataVersionInfo::isSameVersion(info.getDataVersion(), version)) continue;
        std::vector<double> compatibles;
        info.getCompatibleDataVersionList(compatibles);
        current.addCompatibleDataVersionList(compatibles.data(), static_cast<int>(compatibles.size()));
    }
    versions = known;
    return true;
}

bool DataVersionConfigureParser::update(std::string const& file, DataVersionInfo const& current,
                                        std::vector<DataVersionInfo> const& versions) const {
    using namespace NS_DataVersionConfigureParser;
    XmlConfigureTool tool;
    bool ok = tool.open(file, 0, XmlConfigureTool::TRUNCATE);
    if (ok) {
        tool.setRootNodeName(kRoot);
        XmlConfigureNode node(kCurrent);
        node.setProperty(kValue, current.getDataVersion());
        node.setProperty(kAbility, current.getMaxAccessAbility());
        tool.addConfigNode(node);
        for (DataVersionInfo const& info : versions) tool.addConfigNode(writeVersion(info));
        ok = tool.close();
    }
    if (!ok) {
        char text[512];
        std::snprintf(text, sizeof(text), "DataVersionConfigureParser::update, file(%s) failed \n", file.c_str());
        report(text, __LINE__);
    }
    return ok;
}
