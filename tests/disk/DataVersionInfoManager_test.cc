#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "disk/DataVersionConfigureParser.h"
#include "disk/DataVersionInfoManager.h"
#include "host/HostPaths.h"
#include "host/XmlConfigureTool.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

// A disk's version file as another recorder would have written it.
std::string diskXml(char const* version, char const* ability, std::string const& known) {
    return std::string("<?xml version=\"1.0\"?>\n<DataVersionInfoConfigure>\n    <CurrentDataVersion Value=\"") +
           version + "\" MaxAccessAbility=\"" + ability + "\"/>\n" + known + "</DataVersionInfoConfigure>\n";
}

std::string knownVersion(char const* version, char const* ability, std::vector<char const*> const& compatibles) {
    std::string xml = std::string("    <DataVersion>\n        <Value Value=\"") + version +
                      "\"/>\n        <MaxAccessAbility Value=\"" + ability + "\"/>\n";
    for (char const* older : compatibles) xml += std::string("        <CompatibleDataVersion Value=\"") + older + "\"/>\n";
    return xml + "    </DataVersion>\n";
}

class DataVersionTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_manager = DataVersionInfoManager::getInstance();
        m_manager->setChannelAbility(0);
    }
    std::string log() const { return TempDir::readWhole(HostPaths::getLogDir() + "/DataVersion.log"); }
    // Writes the disk file and judges it for a recorder of `channels` channels.
    int judge(std::string const& xml, int channels) {
        EXPECT_TRUE(m_disk.writeFile("DiskDataVersionInfo.xml", xml));
        m_manager->setChannelAbility(channels);
        return m_manager->checkDataVersionValid(DataVersionInfoManager::getDiskDataVersionFileName(m_disk.root()));
    }

    HostRootGuard m_root;
    TempDir m_disk;
    DataVersionInfoManager* m_manager = nullptr;
};

// The system file as written: current 2.0 for 32 channels, 2.0 reading 1.0,
// and 1.0 for 16 channels.
void expectBuiltInFile(std::string const& file) {
    XmlConfigureTool tool;
    ASSERT_TRUE(tool.open(file, 0, XmlConfigureTool::READ_ONLY));
    EXPECT_EQ("DataVersionInfoConfigure", tool.getRootNodeName());
    XmlConfigureNode current;
    ASSERT_TRUE(tool.getConfigNode("CurrentDataVersion", current));
    double version = 0;
    int ability = 0;
    EXPECT_TRUE(current.getProperty("Value", version) && current.getProperty("MaxAccessAbility", ability));
    EXPECT_EQ(2.0, version);
    EXPECT_EQ(32, ability);
    std::vector<XmlConfigureNode> known;
    ASSERT_EQ(2, tool.getConfigNodeList("DataVersion", known));
    XmlConfigureNode child;
    std::vector<XmlConfigureNode> compatibles;
    ASSERT_TRUE(known[0].getConfigNode("Value", child) && child.getProperty("Value", version));
    EXPECT_EQ(2.0, version);
    ASSERT_TRUE(known[0].getConfigNode("MaxAccessAbility", child) && child.getProperty("Value", ability));
    EXPECT_EQ(32, ability);
    ASSERT_EQ(1, known[0].getConfigNodeList("CompatibleDataVersion", compatibles));
    ASSERT_TRUE(compatibles[0].getProperty("Value", version));
    EXPECT_EQ(1.0, version);
    ASSERT_TRUE(known[1].getConfigNode("MaxAccessAbility", child) && child.getProperty("Value", ability));
    EXPECT_EQ(16, ability);
    EXPECT_EQ(0, known[1].getConfigNodeList("CompatibleDataVersion", compatibles = {}));
}

TEST_F(DataVersionTest, TheSystemFileIsRebuiltWhenMissingCorruptOrDifferent) {
    std::string file = DataVersionInfoManager::getConfigFileName();
    EXPECT_EQ(m_root.root() + "/mnt/mtd/code/config_file/DataVersionInfoConfigure.xml", file);
    ASSERT_TRUE(m_manager->init());
    expectBuiltInFile(file);
    EXPECT_NE(std::string::npos, log().find("parser(" + file + ") failed, rebuild xml"));

    TempDir scratch;
    for (std::string const& bad : {std::string("<DataVersionInfoConfigure><CurrentDataVersion Value=\"2"),
                                   diskXml("3.5", "64", ""), diskXml("2.0", "16", "")}) {
        ASSERT_TRUE(scratch.writeFile("f", bad));
        ASSERT_EQ(0, std::rename(scratch.path("f").c_str(), file.c_str()));
        ASSERT_TRUE(m_manager->init());
        expectBuiltInFile(file);
    }
    EXPECT_NE(std::string::npos, log().find("System DataVersion(2.000000) != Xml DataVersion(3.500000)"));
    EXPECT_EQ(2.0, m_manager->getCurrentDataVersionInfo().getDataVersion());
}

TEST_F(DataVersionTest, EachOutcomeFromARealDiskFile) {
    std::string current = knownVersion("2.0", "32", {"1.0"}) + knownVersion("1.0", "16", {});
    struct Case {
        std::string xml;
        int channels;
        int expected;
    } const cases[] = {
        {diskXml("2.0", "32", current), 32, DataVersion_OK},
        {diskXml("2.0", "32", current), 33, DataVersion_ACCESS_ABLILITY},
        {diskXml("1.0", "16", ""), 16, DataVersion_Low_OK},
        {diskXml("1.0", "16", ""), 17, DataVersion_ACCESS_ABLILITY},
        {diskXml("0.5", "8", ""), 1, DataVersion_Low_Unuseable},
        {diskXml("3.0", "64", knownVersion("3.0", "64", {"1.0", "2.0"})), 64, DataVersion_High_OK},
        {diskXml("3.0", "64", knownVersion("3.0", "64", {"2.0"})), 65, DataVersion_ACCESS_ABLILITY},
        {diskXml("3.0", "64", ""), 1, DataVersion_High_Unuseable},
        // Another version's entry names ours: the disk's own version does not.
        {diskXml("3.0", "64", knownVersion("2.5", "64", {"2.0"})), 1, DataVersion_High_Unuseable},
    };
    for (Case const& c : cases) EXPECT_EQ(c.expected, judge(c.xml, c.channels)) << c.xml << c.channels;
    EXPECT_NE(std::string::npos, log().find("Disk DataVersion(3.000000) > System DataVersion(2.000000), DataVersion_OK"));
    EXPECT_NE(std::string::npos, log().find("DataVersion_Access_Ability_UnMatch"));
    EXPECT_NE(std::string::npos, log().find("DataVersionInfoManager::checkDataVersionValid,  DataVersion_Low_OK"));
}

TEST_F(DataVersionTest, ABrokenDiskFileIsAFailedCheckWithItsReason) {
    struct Case {
        std::string xml;
        char const* reason;
    } const cases[] = {
        {"", "open("},
        {diskXml("2.0", "32", "").substr(0, 70), "open("},
        {"<Other><CurrentDataVersion Value=\"2\" MaxAccessAbility=\"32\"/></Other>", "get current dataversion failed"},
        {"<DataVersionInfoConfigure><DataVersion/></DataVersionInfoConfigure>", "get current dataversion failed"},
        {diskXml("two", "32", ""), "getProperty(CurrentDataVersion) failed"},
        {diskXml("2.0", "", ""), "getProperty(MaxAccessAbility) failed"},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(-1, judge(c.xml, 1)) << c.xml;
        EXPECT_NE(std::string::npos, log().rfind(c.reason)) << c.reason;
    }
    EXPECT_NE(std::string::npos, log().find("checkDataVersionValid, parser("));
    EXPECT_EQ(-1, m_manager->checkDataVersionValid(m_disk.path("missing.xml")));
}

TEST_F(DataVersionTest, ADiskWrittenByThisSystemReadsBackAsItsOwn) {
    ASSERT_TRUE(m_manager->init());
    m_manager->setChannelAbility(32);
    ASSERT_TRUE(m_manager->updateDiskDataVersionInfo(m_disk.root()));
    expectBuiltInFile(DataVersionInfoManager::getDiskDataVersionFileName(m_disk.root()));
    EXPECT_EQ(DataVersion_OK,
              m_manager->checkDataVersionValid(DataVersionInfoManager::getDiskDataVersionFileName(m_disk.root())));
    // A root that is gone is never made: the file would land on the mount point.
    EXPECT_FALSE(m_manager->updateDiskDataVersionInfo(m_disk.path("gone")));
    EXPECT_FALSE(m_disk.exists("gone"));
    // A bare number: 1.0 is ours to read, 3.0 is unknown to our table.
    m_manager->setChannelAbility(16);
    EXPECT_EQ(DataVersion_Low_OK, m_manager->checkDataVersionValid(1.0, 16));
    EXPECT_EQ(DataVersion_High_Unuseable, m_manager->checkDataVersionValid(3.0, 64));
    EXPECT_TRUE(DataVersionInfoManager::isGoodStatus(DataVersion_High_OK));
    EXPECT_FALSE(DataVersionInfoManager::isGoodStatus(DataVersion_ACCESS_ABLILITY));
}

}  // namespace
