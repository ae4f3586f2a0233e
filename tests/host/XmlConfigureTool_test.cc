#include "host/XmlConfigureTool.h"

#include <gtest/gtest.h>

#include "host/XmlCodec.h"
#include "tests/support/TempDir.h"

namespace {

XmlConfigureNode versionNode(double value, int ability) {
    XmlConfigureNode node("DataVersion", 0);
    node.setProperty("Value", value);
    node.setProperty("MaxAccessAbility", ability);
    XmlConfigureNode compatible("CompatibleDataVersion", 0);
    compatible.setProperty("Value", 1.0);
    node.addConfigNode(compatible);
    return node;
}

TEST(XmlConfigureToolTest, WrittenTreeReadsBackInOrder) {
    TempDir dir;
    std::string file = dir.path("DataVersionInfoConfigure.xml");
    {
        XmlConfigureTool tool;
        ASSERT_TRUE(tool.open(file, 0, XmlConfigureTool::CREATE));
        tool.setRootNodeName("DataVersionInfoConfigure");
        XmlConfigureNode current("CurrentDataVersion", 0);
        current.setProperty("Value", 2.0);
        current.setProperty("MaxAccessAbility", 32);
        tool.addConfigNode(current);
        tool.addConfigNode(versionNode(2.0, 32));
        tool.addConfigNode(versionNode(0.1, 16));
        ASSERT_TRUE(tool.close());
    }
    XmlConfigureTool tool;
    ASSERT_TRUE(tool.open(file, 0, XmlConfigureTool::READ_ONLY));
    EXPECT_EQ("DataVersionInfoConfigure", tool.getRootNodeName());
    XmlConfigureNode current;
    ASSERT_TRUE(tool.getConfigNode("CurrentDataVersion", current));
    double value = 0;
    int ability = 0;
    EXPECT_TRUE(current.getProperty("Value", value));
    EXPECT_EQ(2.0, value);
    EXPECT_TRUE(current.getProperty("MaxAccessAbility", ability));
    EXPECT_EQ(32, ability);
    EXPECT_FALSE(current.getProperty("Missing", ability));

    std::vector<XmlConfigureNode> versions;
    ASSERT_EQ(2, tool.getConfigNodeList("DataVersion", versions));
    EXPECT_TRUE(versions[1].getProperty("Value", value));
    EXPECT_EQ(0.1, value);  // exact round trip of the double
    std::vector<XmlConfigureNode> compatible;
    EXPECT_EQ(1, versions[0].getConfigNodeList("CompatibleDataVersion", compatible));
}

TEST(XmlConfigureToolTest, ReadOnlyNeverWritesAndMissingFileFails) {
    TempDir dir;
    XmlConfigureTool tool;
    EXPECT_FALSE(tool.open(dir.path("none.xml"), 0, XmlConfigureTool::READ_ONLY));
    EXPECT_FALSE(tool.open(dir.path("none.xml"), 0, XmlConfigureTool::READ_WRITE));
    dir.writeFile("a.xml", "<Root/>");
    ASSERT_TRUE(tool.open(dir.path("a.xml"), 0, XmlConfigureTool::READ_ONLY));
    tool.addConfigNode(XmlConfigureNode("Child", 0));
    EXPECT_TRUE(tool.close());
    EXPECT_EQ("<Root/>", dir.readFile("a.xml"));
}

TEST(XmlConfigureToolTest, MalformedFileFailsAndIsLeftAlone) {
    TempDir dir;
    char const* const bad[] = {
        "",
        "<a>",
        "<a></b>",
        "<a x=1/>",
        "<a x='1' x='2'/>",
        "<a>&bogus;</a>",
        "<a/><b/>",
        "text<a/>",
        "<a><!-- open </a>",
    };
    for (char const* text : bad) {
        dir.writeFile("bad.xml", text);
        XmlConfigureTool tool;
        EXPECT_FALSE(tool.open(dir.path("bad.xml"), 0, XmlConfigureTool::CREATE)) << text;
        EXPECT_EQ(text, dir.readFile("bad.xml"));
    }
    XmlConfigureTool tool;
    ASSERT_TRUE(tool.open(dir.path("bad.xml"), 0, XmlConfigureTool::TRUNCATE));
    tool.setRootNodeName("Fresh");
    EXPECT_TRUE(tool.close());
    XmlConfigureNode root;
    EXPECT_TRUE(XmlCodec::parse(dir.readFile("bad.xml"), root, nullptr));
    EXPECT_EQ("Fresh", root.getName());
}

TEST(XmlCodecTest, EscapingRoundTrips) {
    XmlConfigureNode root("Root", 1);
    root.setProperty("quote", "a\"b'c<d>&e");
    XmlConfigureNode child("Item", 0);
    child.setText("x < y & z");
    root.addConfigNode(child);
    std::string text = XmlCodec::format(root);
    EXPECT_EQ(std::string::npos, text.find("a\"b"));
    XmlConfigureNode back;
    ASSERT_TRUE(XmlCodec::parse(text, back, nullptr));
    std::string value;
    EXPECT_TRUE(back.getProperty("quote", value));
    EXPECT_EQ("a\"b'c<d>&e", value);
    XmlConfigureNode item;
    ASSERT_TRUE(back.getConfigNode("Item", item));
    EXPECT_EQ("x < y & z", item.getText());
}

TEST(XmlCodecTest, ReadsDeclarationCommentsCdataAndReferences) {
    std::string text =
        "<?xml version=\"1.0\"?>\n<!DOCTYPE r>\n<!-- head -->\n"
        "<r a='&#65;&#x42;'><!-- inner --><c><![CDATA[<raw>]]></c></r>\n<!-- tail -->\n";
    XmlConfigureNode root;
    std::string error;
    ASSERT_TRUE(XmlCodec::parse(text, root, &error)) << error;
    std::string value;
    EXPECT_TRUE(root.getProperty("a", value));
    EXPECT_EQ("AB", value);
    XmlConfigureNode child;
    ASSERT_TRUE(root.getConfigNode("c", child));
    EXPECT_EQ("<raw>", child.getText());
}

}  // namespace
