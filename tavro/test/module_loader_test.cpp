#include "tavro/module_loader.h"

#include <gmock/gmock.h>

#include <iostream>
#include <sstream>

namespace tavro {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string module(const std::string& name) {
  return std::string(TEST_MODULE_DIRECTORY "/lib") + name + ".so";
}

/// Lets std::cout write to another stream while it lives.
class OutputElsewhere {
 public:
  explicit OutputElsewhere(std::ostream& stream) : fBefore(std::cout.rdbuf(stream.rdbuf())) {}
  ~OutputElsewhere() { std::cout.rdbuf(fBefore); }
  OutputElsewhere(const OutputElsewhere&) = delete;
  OutputElsewhere& operator=(const OutputElsewhere&) = delete;

 private:
  std::streambuf* const fBefore;
};

class ModuleLoaderTest : public ::testing::Test {
 protected:
  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> fBroker = HB::HBBroker::create(fSession);
  std::ostringstream fPrinted;
  OutputElsewhere fElsewhere{fPrinted};
  OutputTap fTap{std::cout};
  ModuleLoader fLoader{fBroker, fTap};
};

TEST_F(ModuleLoaderTest, LoadsAModuleWhoseServiceThenAnswers) {
  fLoader.load(module("standing_module"));
  EXPECT_TRUE(fLoader.waitUntilAllStand());
  EXPECT_EQ(fSession->find("Standing").call<int>("answer"), 42);
  EXPECT_THAT(fLoader.modules(), ElementsAre("standing_module"));
}

TEST_F(ModuleLoaderTest, TakesAModuleOutOfTheProcess) {
  fLoader.load(module("standing_module"));
  ASSERT_TRUE(fLoader.waitUntilAllStand());
  ASSERT_TRUE(ModuleLibrary::isMapped(module("standing_module")));
  fLoader.unload("standing_module");
  EXPECT_FALSE(ModuleLibrary::isMapped(module("standing_module")));
  EXPECT_FALSE(fSession->find("Standing"));
  EXPECT_TRUE(fBroker->modules().empty());
}

TEST_F(ModuleLoaderTest, LoadsAndUnloadsTheSameModuleAgainAndAgain) {
  for (int i = 0; i < 50; ++i) {
    fLoader.load(module("standing_module"));
    ASSERT_TRUE(fLoader.waitUntilAllStand());
    fLoader.unload("standing_module");
    ASSERT_FALSE(ModuleLibrary::isMapped(module("standing_module")));
  }
}

TEST_F(ModuleLoaderTest, StartsTheNextModuleWhileOneWaitsForAService) {
  fLoader.load(module("waiting_module"));
  fLoader.load(module("standing_module"));
  EXPECT_EQ(fSession->find("Standing").call<int>("answer"), 42);
  EXPECT_FALSE(fSession->find("Waiting"));
}

TEST_F(ModuleLoaderTest, StandsOnceTheAwaitedServiceHasCome) {
  fLoader.load(module("waiting_module"));
  const auto awaited = fSession->registerService("Awaited", xo::ObjectBuilder());
  EXPECT_TRUE(fLoader.waitUntilAllStand());
  fLoader.unloadAll();
}

TEST_F(ModuleLoaderTest, InterruptEndsTheWaitForModulesThatWait) {
  fLoader.load(module("waiting_module"));
  std::thread other([this] { fLoader.interrupt(); });
  EXPECT_FALSE(fLoader.waitUntilAllStand());
  other.join();
  EXPECT_EQ(fLoader.failure().module, "");
}

TEST_F(ModuleLoaderTest, UnloadsAModuleThatWaitsForAServiceThatNeverComes) {
  fLoader.load(module("waiting_module"));
  fLoader.unloadAll();
  EXPECT_FALSE(ModuleLibrary::isMapped(module("waiting_module")));
}

TEST_F(ModuleLoaderTest, NamesAModuleWhoseExceptionPassedThrough) {
  fLoader.load(module("throwing_module"));
  EXPECT_FALSE(fLoader.waitUntilAllStand());
  EXPECT_EQ(fLoader.failure().module, "throwing_module");
  EXPECT_EQ(fLoader.failure().text, "the wheel came off");
  fLoader.unloadAll();
  EXPECT_FALSE(ModuleLibrary::isMapped(module("throwing_module")));
}

TEST_F(ModuleLoaderTest, TellsWhatAnEntryPointPrintedThatMadeNoModule) {
  fLoader.load(module("printing_module"));
  EXPECT_FALSE(fLoader.waitUntilAllStand());
  EXPECT_EQ(fLoader.failure().text,
            "printing : error while trying to create module Printing: no ink");
  EXPECT_EQ(fPrinted.str(), fLoader.failure().text + "\n");
}

TEST_F(ModuleLoaderTest, TellsOfAnEntryPointThatMadeNothing) {
  fLoader.load(module("silent_module"));
  EXPECT_FALSE(fLoader.waitUntilAllStand());
  EXPECT_EQ(fLoader.failure().text, "its entry point made no module");
}

TEST_F(ModuleLoaderTest, NamesAFileThatIsMissingOrNoModule) {
  fLoader.load("/nowhere/libmissing.so");
  EXPECT_FALSE(fLoader.waitUntilAllStand());
  EXPECT_THAT(fLoader.failure().text, HasSubstr("/nowhere/libmissing.so"));
  fLoader.unloadAll();
  fLoader.load("libc.so.6");  // without a slash: a file of the current folder, not the system's
  EXPECT_FALSE(fLoader.waitUntilAllStand());
}

TEST_F(ModuleLoaderTest, NamesTheFirstFailureInTheOrderOfLoading) {
  fLoader.load(module("standing_module"));
  fLoader.load(module("silent_module"));
  fLoader.load(module("throwing_module"));
  EXPECT_FALSE(fLoader.waitUntilAllStand());
  EXPECT_EQ(fLoader.failure().module, "silent_module");
}

TEST_F(ModuleLoaderTest, RefusesToLoadAModuleTwiceAndToUnloadAnUnknownOne) {
  fLoader.load(module("standing_module"));
  EXPECT_THROW(fLoader.load(module("standing_module")), std::invalid_argument);
  EXPECT_THROW(fLoader.unload("other"), std::invalid_argument);
}

TEST(ModuleNameOf, DropsFolderPrefixAndEnding) {
  EXPECT_EQ(moduleNameOf("/some/where/libleds.so"), "leds");
  EXPECT_EQ(moduleNameOf("hello.so"), "hello");
}

}  // namespace
}  // namespace tavro
