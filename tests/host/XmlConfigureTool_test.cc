#include "host/XmlConfigureTool.h"

#include <gtest/gtest.h>

#include "host/XmlCodec.h"
#include "tests/support/TempDir.h"

namespace {

TEST(XmlConfigureToolTest, WrittenTreeReadsBackInOrderWithEscapes) {
    TempDir dir;
    std::string const file = dir.path("DataVersionInfoConfigure.xml");
    {
        XmlConfigureTool tool;
        ASSERT_TRUE(tool.open(file, 0, XmlConfigureTool::CREATE));
        tool.setRootNodeName("DataVersionInfoConfigure");
        for (double value : {2.0, 0.1}) {
            XmlConfigureNode version("DataVersion", 0);
            version.setProperty("Value", value);
            version.setProperty("quote", "a\"b'c<d>&e");
            XmlConfigureNode compatible("CompatibleDataVersion", 0);
            compatible.setText("x < y & z");
            version.addConfigNode(compatible);
            tool.addConfigNode(version);
        }
        ASSERT_TRUE(tool.close());
    }
    EXPECT_EQ(std::string::npos, dir.readFile("DataVersionInfoConfigure.xml").find("a\"b"));
    XmlConfigureTool tool;
    ASSERT_TRUE(tool.open(file, 0, XmlConfigureTool::READ_ONLY));
    EXPECT_EQ("DataVersionInfoConfigure", tool.getRootNodeName());
    std::vector<XmlConfigureNode> versions;
    ASSERT_EQ(2, tool.getConfigNodeList("DataVersion", versions));
    double value = 0;
    EXPECT_TRUE(versions[1].getProperty("Value", value));
    EXPECT_EQ(0.1, value);  // exact round trip of the double
    int missing = 5;
    EXPECT_FALSE(versions[1].getProperty("Missing", missing));
    std::string text;
    EXPECT_TRUE(versions[0].getProperty("quote", text));
    EXPECT_EQ("a\"b'c<d>&e", text);
    XmlConfigureNode compatible;
    ASSERT_TRUE(versions[0].getConfigNode("CompatibleDataVersion", compatible));
    EXPECT_EQ("x < y & z", compatible.getText());
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

TEST(XmlConfigureToolTest, MalformedFileFailsAndIsLeftAloneUntilTruncated) {
    TempDir dir;
    for (char const* text : {"", "<a>", "<a></b>", "<a x=1/>", "<a x='1' x='2'/>", "<a>&bogus;</a>", "<a/><b/>",
                             "text<a/>", "<a><!-- open </a>"}) {
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

TEST(XmlCodecTest, ReadsDeclarationCommentsCdataAndReferences) {
    std::string const text =
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
