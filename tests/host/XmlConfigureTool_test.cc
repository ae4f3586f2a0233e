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
        for (double value : {2.0, 0.1 + 0.2}) {
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
    XmlConfigureTool tool;
    ASSERT_TRUE(tool.open(file, 0, XmlConfigureTool::READ_ONLY));
    EXPECT_EQ("DataVersionInfoConfigure", tool.getRootNodeName());
    std::vector<XmlConfigureNode> versions;
    ASSERT_EQ(2, tool.getConfigNodeList("DataVersion", versions));
    double value = 0;
    EXPECT_TRUE(versions[1].getProperty("Value", value));
    EXPECT_EQ(0.1 + 0.2, value);  // 0.30000000000000004: every digit of the double
    std::string text;
    EXPECT_TRUE(versions[0].getProperty("quote", text));
    EXPECT_EQ("a\"b'c<d>&e", text);
    XmlConfigureNode compatible;
    ASSERT_TRUE(versions[0].getConfigNode("CompatibleDataVersion", compatible));
    EXPECT_EQ("x < y & z", compatible.getText());
}

TEST(XmlConfigureToolTest, MissingOrMalformedFileFailsAndIsLeftAloneUntilTruncated) {
    TempDir dir;
    XmlConfigureTool readOnly;
    EXPECT_FALSE(readOnly.open(dir.path("none.xml"), 0, XmlConfigureTool::READ_ONLY));
    EXPECT_FALSE(readOnly.open(dir.path("none.xml"), 0, XmlConfigureTool::READ_WRITE));
    dir.writeFile("a.xml", "<Root/>");
    ASSERT_TRUE(readOnly.open(dir.path("a.xml"), 0, XmlConfigureTool::READ_ONLY));
    readOnly.addConfigNode(XmlConfigureNode("Child", 0));
    EXPECT_TRUE(readOnly.close());
    EXPECT_EQ("<Root/>", dir.readFile("a.xml"));  // read-only never writes
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
    std::string value;
    ASSERT_TRUE(XmlCodec::parse("<?xml version=\"1.0\"?>\n<!DOCTYPE r>\n<!-- head -->\n<r a='&#65;&#x42;'><!-- in -->"
                                "<c><![CDATA[<raw>]]></c></r>\n<!-- tail -->\n", root, nullptr));
    EXPECT_TRUE(root.getProperty("a", value));
    EXPECT_EQ("AB", value);
    ASSERT_TRUE(root.getConfigNode("c", root));
    EXPECT_EQ("<raw>", root.getText());
}

}  // namespace
