#include "host/Property.h"

#include <gtest/gtest.h>

#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

TEST(PropertyTest, AbsentOrBrokenKeyLeavesTheValueAlone) {
    TempDir dir;
    HostRootGuard root(dir.root());  // a broken value is logged
    dir.writeFile("storageparam.ini", "IndexReadTimeout = 2500\nBad=12x\n");
    Property property(dir.path("storageparam.ini"));
    ASSERT_TRUE(property.open());
    int value = 77;
    EXPECT_FALSE(property.get("RecordReadTimeout", value));
    EXPECT_FALSE(property.get("Bad", value));  // not a number
    EXPECT_EQ(77, value);
    EXPECT_TRUE(property.get("IndexReadTimeout", value));
    EXPECT_EQ(2500, value);
}

TEST(PropertyTest, PersistKeepsCommentsAndChangesOnlyTheKeyLine) {
    TempDir dir;
    dir.writeFile("p.ini", "# storage\r\nA=1\n\n; other\nnot a pair\nB=2\n");
    Property property(dir.path("p.ini"));
    ASSERT_TRUE(property.open());
    property.set("B", -5);
    property.set("C", 3);
    ASSERT_TRUE(property.persist());
    EXPECT_EQ("# storage\nA=1\n\n; other\nnot a pair\nB=-5\nC=3\n", dir.readFile("p.ini"));
    EXPECT_FALSE(dir.exists("p.ini.tmp"));

    Property fresh(dir.path("new.ini"));  // a missing file fails open, persist makes it
    EXPECT_FALSE(fresh.open());
    fresh.set("FileLockThreshold", 80);
    ASSERT_TRUE(fresh.persist());
    EXPECT_EQ("FileLockThreshold=80\n", dir.readFile("new.ini"));
    EXPECT_FALSE(Property(dir.path("no/such/folder.ini")).persist());
}

}  // namespace
