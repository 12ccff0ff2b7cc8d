#include "web/server/files.h"

#include <gmock/gmock.h>

#include "web/test/test_page.h"
#include "web/test/unpacked.h"

namespace web {
namespace {

TEST(Files, AreFoundByTheirPathBelowTheFolder) {
  const door::TemporaryFolder folder;
  folder.write("index.html", "<html>");
  folder.write("parts/eye.js", "eye");
  const Files files(folder.path());
  ASSERT_TRUE(files.find("/"));
  EXPECT_EQ(files.find("/")->content, "<html>");
  EXPECT_EQ(files.find("/"), files.find("/index.html"));
  EXPECT_EQ(files.find("/parts/eye.js")->content, "eye");
}

TEST(Files, HaveTheTypesThatBrowsersWant) {
  const door::TemporaryFolder folder;
  for (const char* name : {"a.html", "a.css", "a.js", "a.svg", "a.png", "a.json"}) {
    folder.write(name, "x");
  }
  const Files files(folder.path());
  EXPECT_EQ(files.find("/a.html")->type, "text/html; charset=utf-8");
  EXPECT_EQ(files.find("/a.css")->type, "text/css; charset=utf-8");
  EXPECT_EQ(files.find("/a.js")->type, "text/javascript; charset=utf-8");
  EXPECT_EQ(files.find("/a.svg")->type, "image/svg+xml");
  EXPECT_EQ(files.find("/a.png")->type, "image/png");
  EXPECT_EQ(files.find("/a.json")->type, "application/json");
}

TEST(Files, LeaveOutWhatIsNotForBrowsers) {
  const door::TemporaryFolder folder;
  for (const char* name : {"README.md", ".hidden.js", "package.json", "package-lock.json",
                           "node_modules/a.js", "deep/node_modules/b.js", ".git/c.js"}) {
    folder.write(name, "x");
  }
  const Files files(folder.path());
  EXPECT_TRUE(files.isEmpty());
}

TEST(Files, ThatChangeGetAnotherTag) {
  const door::TemporaryFolder folder;
  folder.write("a.js", "one");
  const std::string tag = Files(folder.path()).find("/a.js")->tag;
  EXPECT_EQ(Files(folder.path()).find("/a.js")->tag, tag);
  folder.write("a.js", "two");
  EXPECT_NE(Files(folder.path()).find("/a.js")->tag, tag);
}

TEST(Files, HoldWhatWasThereAtTheStart) {
  const door::TemporaryFolder folder;
  folder.write("a.js", "one");
  const Files files(folder.path());
  folder.write("a.js", "two");
  folder.write("b.js", "new");
  EXPECT_EQ(files.find("/a.js")->content, "one");
  EXPECT_FALSE(files.find("/b.js"));
}

TEST(Files, ArePackedWhereThatIsSmaller) {
  const door::TemporaryFolder folder;
  const std::string content(1000, 'a');
  folder.write("a.js", content);
  folder.write("tiny.js", "a");
  folder.write("a.png", content);
  const Files files(folder.path());
  const auto packed = files.find("/a.js");
  EXPECT_EQ(packed->content, content);
  EXPECT_LT(packed->packed.size(), 100u);
  EXPECT_EQ(unpacked(packed->packed), content);
  EXPECT_NE(packed->packedTag, packed->tag) << "two forms, two tags";
  EXPECT_EQ(files.find("/tiny.js")->packed, "");
  EXPECT_EQ(files.find("/a.png")->packed, "") << "pictures are packed by themselves";
}

TEST(Files, ThatAreEmptyAreServedToo) {
  const door::TemporaryFolder folder;
  folder.write("a.css", "");
  EXPECT_EQ(Files(folder.path()).find("/a.css")->content, "");
}

TEST(Files, AreNoneWithoutAFolder) {
  EXPECT_TRUE(Files("").isEmpty());
  EXPECT_TRUE(Files("/nowhere/page").isEmpty());
}

}  // namespace
}  // namespace web
