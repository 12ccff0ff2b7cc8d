#include "access/latest.h"

#include <gmock/gmock.h>

#include "access/access.h"
#include "access/test/refusal.h"

namespace door {
namespace {

using HB::HBValue;
using testing::ElementsAre;
using testing::EndsWith;

std::string textOf(const std::vector<HBValue>& args) { return ArgsText(args).text; }

TEST(ArgsText, IsTheListAsPeopleWriteIt) {
  EXPECT_EQ(textOf({}), "[]");
  EXPECT_EQ(textOf({"FaceLeds", 1.0f, 255}), "[\"FaceLeds\", 1.0, 255]");
  EXPECT_EQ(textOf({HBValue(), HBValue::list({true, "<b>"})}), "[null, [true, \"<b>\"]]");
}

TEST(ArgsText, IsCutHoweverLongTheArgumentsAre) {
  for (const std::size_t bytes : {150, 196, 197, 198, 199, 200, 201, 5000}) {
    const std::string text = textOf({std::string(bytes, 'x'), 1, 2, 3});
    EXPECT_LE(text.size(), CallRecord::kArgsBytes + 5) << bytes;
    if (bytes >= 197) {
      EXPECT_THAT(text, EndsWith("...")) << bytes;
    }
  }
  const std::string many = textOf(std::vector<HBValue>(1000, 7));
  EXPECT_THAT(many, EndsWith("..."));
  EXPECT_LE(many.size(), CallRecord::kArgsBytes + 5);
}

class LatestTest : public testing::Test {
 protected:
  void note(const std::string& method, const std::vector<HBValue>& args, std::uint64_t id) {
    fLatest.note(Latest::kindOf("S", method, ArgsText(args).first())).id = id;
  }
  std::vector<std::uint64_t> ids() const {
    std::vector<std::uint64_t> all;
    fLatest.forEach([&](const CallRecord& record) { all.push_back(record.id); });
    return all;
  }
  Latest fLatest;
};

TEST_F(LatestTest, KeepsOneCallOfEachMethodAndFirstArgument) {
  note("fade", {"A", 1}, 1);
  note("fade", {"B", 1}, 2);
  note("off", {"A"}, 3);
  note("off", {}, 4);
  EXPECT_THAT(ids(), ElementsAre(1, 2, 3, 4));
  note("fade", {"A", 2}, 5);
  EXPECT_THAT(ids(), ElementsAre(2, 3, 4, 5));
  note("off", {}, 6);
  note("off", {}, 7);
  EXPECT_THAT(ids(), ElementsAre(2, 3, 5, 7));
}

TEST_F(LatestTest, ForgetsTheOldestOfTooMany) {
  for (int i = 0; i < 3000; ++i) {
    note("fade", {i}, static_cast<std::uint64_t>(i + 1));
    note("off", {"kept"}, 9999);
  }
  EXPECT_EQ(fLatest.size(), Latest::kMost);
  const auto all = ids();
  EXPECT_EQ(all.front(), 3000u - Latest::kMost + 2);
  EXPECT_EQ(all.back(), 9999u);
  note("fade", {2999}, 1);
  EXPECT_EQ(ids().back(), 1u);
  EXPECT_EQ(fLatest.size(), Latest::kMost);
}

class RememberedTest : public testing::Test {
 protected:
  RememberedTest() {
    xo::ObjectBuilder builder;
    builder.add(
        xo::makeMethod<int(int)>({"twice", "", {}, {}, {}}, [](int value) { return 2 * value; }));
    builder.add(
        xo::makeMethod<void()>({"fail", "", {}, {}, {}}, [] { throw std::runtime_error("no"); }));
    builder.add(xo::makeMethod<int()>({"origin", "", {}, {}, {}}, [] {
      return static_cast<int>(xo::CallScope::currentOrigin());
    }));
    builder.add(xo::makeMethod<void()>({"look", "", {}, {}, {}}, [] {}));
    fRegistration = fSession->registerService("Test", std::move(builder));
  }
  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::unique_ptr<xo::Session::Registration> fRegistration;
  Access fAccess{fSession, {}, {}, {{"Test", "look"}}};
};

TEST_F(RememberedTest, TheLatestCallsAreThoseThatSucceeded) {
  const HBValue one[] = {1};
  const HBValue text[] = {"x"};
  fAccess.call(kAda, "Test", "twice", one);
  fAccess.call(kBen, "Test", "twice", text);
  fAccess.call(kBen, "Test", "fail", {});
  fAccess.call(kBen, "Test", "twice", one);
  const auto latest = fAccess.latest();
  ASSERT_EQ(latest.size(), 1u);
  EXPECT_EQ(latest[0].client, kBen);
  EXPECT_EQ(latest[0].service, "Test");
  EXPECT_EQ(latest[0].method, "twice");
  EXPECT_EQ(latest[0].args, "[1]");
  EXPECT_EQ(latest[0].error, "");
  EXPECT_EQ(latest[0].id, 4u);
  EXPECT_EQ(fAccess.history()[1].args, "[\"x\"]");
}

TEST_F(RememberedTest, ACallIsFoundByItsId) {
  const HBValue one[] = {1};
  fAccess.call(kAda, "Test", "twice", one);
  fAccess.call(kBen, "Test", "fail", {});
  const std::uint64_t ids[] = {2, 99, 1, 2, 0};
  const auto found = fAccess.find(ids);
  ASSERT_EQ(found.size(), 5u);
  EXPECT_EQ(found[0].value().error, "no");
  EXPECT_FALSE(found[1]);
  EXPECT_EQ(found[2].value().client, kAda);
  EXPECT_EQ(found[3].value().id, 2u);
  EXPECT_FALSE(found[4]);
}

TEST_F(RememberedTest, ACallOfLongAgoIsFoundWhileNoneOfItsKindFollowed) {
  const HBValue one[] = {1};
  const HBValue two[] = {2};
  fAccess.call(kAda, "Test", "twice", one);
  for (std::size_t i = 0; i < 2 * Access::kHistory; ++i) fAccess.call(kBen, "Test", "twice", two);
  const std::uint64_t ids[] = {1, 2};
  const auto found = fAccess.find(ids);
  EXPECT_EQ(found[0].value().client, kAda);
  EXPECT_FALSE(found[1]);
}

TEST_F(RememberedTest, ReadingsThatSucceededAreNot) {
  fAccess.call(kAda, "Test", "look", {});
  const HBValue one[] = {1};
  fAccess.call(kAda, "Test", "look", one);  // no such overload
  EXPECT_TRUE(fAccess.latest().empty());
  ASSERT_EQ(fAccess.history().size(), 1u);
  EXPECT_NE(fAccess.history()[0].error, "");
  EXPECT_TRUE(fAccess.running().empty());
}

TEST_F(RememberedTest, ACallsOriginIsItsId) {
  EXPECT_EQ(fAccess.call(kAda, "Test", "origin", {}).value, HBValue(1));
  EXPECT_EQ(fAccess.call(kAda, "Test", "origin", {}).value, HBValue(2));
  EXPECT_EQ(fAccess.history().back().id, 2u);
  EXPECT_EQ(xo::CallScope::currentOrigin(), 0u);
}

}  // namespace
}  // namespace door
