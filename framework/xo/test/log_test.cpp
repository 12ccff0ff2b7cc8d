#include "framework/xo/log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using xo::log::Category;
using xo::log::Level;
using xo::log::Listener;
using xo::log::Message;

TEST(LogLevel, IsNamedAndFoundByName) {
  for (int i = 0; i <= static_cast<int>(Level::kDebug); ++i) {
    const auto level = static_cast<Level>(i);
    EXPECT_EQ(xo::log::levelFromName(xo::log::levelName(level)), level);
  }
  EXPECT_EQ(xo::log::levelName(Level::kVerbose), "verbose");
}

TEST(LogLevel, ErrorOfAnUnknownNameListsTheNames) {
  try {
    xo::log::levelFromName("loud");
    FAIL() << "nothing thrown";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(),
                 "\"loud\" is no log level; expected one of silent, fatal, error, warning, info, "
                 "verbose, debug");
  }
  EXPECT_THROW(xo::log::levelFromName(""), std::invalid_argument);
}

TEST(LogListener, HearsItsLevelAndEverythingMoreUrgent) {
  const Category category("Eyes");
  std::vector<std::string> heard;
  const Listener listener(Level::kWarning, [&](const Message& message) {
    heard.push_back(std::string(message.category) + "/" +
                    std::string(xo::log::levelName(message.level)) + "/" +
                    std::string(message.text));
  });
  category.error("one");
  category.warning("two");
  category.info("three");
  category.verbose("four");
  category.debug("five");
  category.write(Level::kFatal, "six");
  EXPECT_EQ(heard,
            (std::vector<std::string>{"Eyes/error/one", "Eyes/warning/two", "Eyes/fatal/six"}));
}

TEST(LogCategory, IsOnForWhatTheMostCuriousListenerWants) {
  const Category category("test");
  EXPECT_FALSE(category.isOn(Level::kFatal));
  std::optional<Listener> quiet(std::in_place, Level::kError, [](const Message&) {});
  EXPECT_TRUE(category.isOn(Level::kError));
  EXPECT_FALSE(category.isOn(Level::kInfo));
  {
    Listener curious(Level::kDebug, [](const Message&) {});
    EXPECT_TRUE(category.isOn(Level::kDebug));
    curious.setLevel(Level::kInfo);
    EXPECT_FALSE(category.isOn(Level::kDebug));
    EXPECT_TRUE(category.isOn(Level::kInfo));
    EXPECT_FALSE(category.isOn(Level::kSilent));
  }
  EXPECT_FALSE(category.isOn(Level::kInfo));
  quiet.reset();
  EXPECT_FALSE(category.isOn(Level::kError));
}

TEST(LogListener, IsIgnoredWhenItsCallbackLogsOrThrows) {
  const Category category("test");
  int first = 0;
  int second = 0;
  const Listener logging(Level::kInfo, [&](const Message&) {
    ++first;
    category.error("from inside");
    throw std::runtime_error("broken listener");
  });
  const Listener other(Level::kInfo, [&](const Message&) { ++second; });
  category.info("once");
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
  category.info("again");
  EXPECT_EQ(first, 2);
}

TEST(LogListener, DestructionWaitsForItsRunningCallback) {
  const Category category("test");
  std::promise<void> entered;
  std::promise<void> mayGo;
  std::atomic<bool> isInside{false};
  std::optional<Listener> listener(std::in_place, Level::kInfo, [&](const Message&) {
    isInside = true;
    entered.set_value();
    mayGo.get_future().wait();
    isInside = false;
  });
  std::thread logging([&] { category.info("slow"); });
  entered.get_future().wait();
  std::thread ending([&] {
    listener.reset();
    EXPECT_FALSE(isInside);
  });
  mayGo.set_value();
  ending.join();
  logging.join();
}

TEST(LogCategory, DeliversOneMessageAtATime) {
  const Category category("test");
  int count = 0;  // not atomic: the hub's business
  const Listener listener(Level::kInfo, [&](const Message&) { ++count; });
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 250; ++j) category.info("x");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(count, 1000);
}

TEST(LogListener, ComesAndGoesWhileOthersLog) {
  const Category category("test");
  std::atomic<bool> isOver{false};
  std::thread logging([&] {
    while (!isOver) category.info("x");
  });
  for (int i = 0; i < 500; ++i) {
    auto alive = std::make_unique<int>(1);
    const Listener listener(Level::kInfo, [raw = alive.get()](const Message&) { *raw += 1; });
    category.verbose("heard by nobody");
  }
  isOver = true;
  logging.join();
}

}  // namespace
