#include "web/server/budget.h"

#include <gtest/gtest.h>

namespace web {
namespace {

constexpr std::size_t kOfOne = 100;
constexpr std::size_t kOfAll = 150;
constexpr std::size_t kAlways = 10;

class BudgetTest : public testing::Test {
 protected:
  std::string refusalOf(const Budget::Share& share) const { return fBudget.refusal(share.bytes()); }
  Budget fBudget{"crumbs", kOfOne, kOfAll, kAlways};
};

TEST_F(BudgetTest, APageMayTakeAsMuchAsTheLimitOfOne) {
  Budget::Share page(fBudget);
  page.add(kOfOne);
  EXPECT_EQ(refusalOf(page), "");
  page.add(1);
  EXPECT_EQ(refusalOf(page), "More crumbs than one page's limit of 100");
  page.remove(1);
  EXPECT_EQ(refusalOf(page), "");
}

TEST_F(BudgetTest, WhenAllHaveTakenTheirsTheGreedyAreRefusedAndTheModestAreNot) {
  Budget::Share greedy(fBudget);
  Budget::Share other(fBudget);
  Budget::Share modest(fBudget);
  greedy.add(kOfOne);
  other.add(kOfAll - kOfOne - kAlways);
  modest.add(kAlways);
  EXPECT_EQ(refusalOf(greedy), "");
  other.add(1);
  EXPECT_EQ(refusalOf(greedy), "More crumbs than the limit of 150 of all pages");
  EXPECT_EQ(refusalOf(other), refusalOf(greedy));
  EXPECT_EQ(refusalOf(modest), "");
}

TEST_F(BudgetTest, WhatAPageHadIsGivenBackWhenItGoes) {
  {
    Budget::Share page(fBudget);
    page.add(70);
    EXPECT_EQ(fBudget.taken(), 70u);
    page.clear();
    EXPECT_EQ(fBudget.taken(), 0u);
    page.add(30);
  }
  EXPECT_EQ(fBudget.taken(), 0u);
}

TEST_F(BudgetTest, ItsLimitsAreListedByTheNamesOfItsRefusals) {
  std::vector<door::NamedLimit> limits;
  fBudget.listLimits(limits);
  ASSERT_EQ(limits.size(), 2u);
  EXPECT_EQ(limits[0].name, "crumbs, of one page");
  EXPECT_EQ(limits[0].most, kOfOne);
  EXPECT_EQ(limits[1].name, "crumbs, of all pages");
  EXPECT_EQ(limits[1].most, kOfAll);
}

}  // namespace
}  // namespace web
