#include "tavro/host_service.h"

#include <gmock/gmock.h>

#include <sstream>
#include <thread>

namespace tavro {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Names = std::vector<std::string>;

class HostServiceTest : public ::testing::Test {
 protected:
  Names modules() { return host().call<Names>("modules"); }
  xo::Object host() { return fSession->find("HBHost"); }
  std::string refusalOf(const std::string& method, const std::string& name) {
    try {
      host().call(method, name);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "";
  }

  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> fBroker = HB::HBBroker::create(fSession);
  std::ostringstream fPrinted;
  OutputTap fTap{fPrinted};
  ModuleLoader fLoader{fBroker, fTap};
  HostService fService{*fSession, fLoader, TEST_MODULE_DIRECTORY};
};

TEST_F(HostServiceTest, LoadsAModuleByNameAndTakesItAwayAgain) {
  EXPECT_THAT(modules(), IsEmpty());
  host().call("loadModule", "standing_module");
  EXPECT_THAT(modules(), ElementsAre("standing_module"));
  EXPECT_EQ(fSession->find("Standing").call<int>("answer"), 42);
  host().call("unloadModule", "standing_module");
  EXPECT_THAT(modules(), IsEmpty());
  EXPECT_FALSE(fSession->find("Standing"));
  EXPECT_FALSE(ModuleLibrary::isMapped(TEST_MODULE_DIRECTORY "/libstanding_module.so"));
}

TEST_F(HostServiceTest, RevivesHandlesOfOthersWhenAModuleComesBack) {
  host().call("loadModule", "standing_module");
  const auto handle = fSession->find("Standing");
  host().call("unloadModule", "standing_module");
  EXPECT_FALSE(handle.isAlive());
  host().call("loadModule", "standing_module");
  EXPECT_EQ(handle.call<int>("answer"), 42);
}

TEST_F(HostServiceTest, RefusesAModuleThatIsLoaded) {
  host().call("loadModule", "standing_module");
  EXPECT_EQ(refusalOf("loadModule", "standing_module"),
            "HBHost: loadModule: 'standing_module' is loaded already; loaded are: standing_module");
  EXPECT_THAT(modules(), ElementsAre("standing_module"));
}

TEST_F(HostServiceTest, RefusesPathsAndUnknownNamesAndListsTheModulesThereAre) {
  for (const std::string name : {"", "..", "../tavro/leds", "/etc/passwd", "nobody", "a b"}) {
    EXPECT_THAT(refusalOf("loadModule", name),
                HasSubstr("there is no module '" + name + "'; there are: printing_module, silent_"))
        << name;
  }
  EXPECT_EQ(refusalOf("unloadModule", "standing_module"),
            "HBHost: unloadModule: 'standing_module' is not loaded; loaded are: ");
}

TEST_F(HostServiceTest, TellsAFailedModulesOwnWordsAndForgetsIt) {
  EXPECT_THAT(refusalOf("loadModule", "throwing_module"),
              HasSubstr("Module throwing_module cannot start: "));
  EXPECT_THAT(modules(), IsEmpty());
}

TEST_F(HostServiceTest, GivesUpAModuleThatWaitsWhenItsCallIsStopped) {
  xo::StopFlag stop;
  std::string refusal;
  std::thread client([&] {
    const xo::CallScope scope(nullptr, &stop);
    refusal = refusalOf("loadModule", "waiting_module");
  });
  while (modules().empty()) std::this_thread::yield();
  stop.raise();
  client.join();
  EXPECT_EQ(refusal, "Module waiting_module cannot start: it was given up");
  EXPECT_THAT(modules(), IsEmpty());
}

TEST_F(HostServiceTest, LoadsAndUnloadsOthersWhileAModuleWaits) {
  std::string refusal;
  std::thread client([&] { refusal = refusalOf("loadModule", "waiting_module"); });
  while (modules().empty()) std::this_thread::yield();
  host().call("loadModule", "standing_module");
  EXPECT_THAT(modules(), ElementsAre("waiting_module", "standing_module"));
  host().call("unloadModule", "waiting_module");
  client.join();
  EXPECT_THAT(refusal, HasSubstr("cannot start: "));
  EXPECT_THAT(modules(), ElementsAre("standing_module"));
}

TEST_F(HostServiceTest, EndsAWaitingLoadWhenWhatItWaitsForIsThere) {
  std::thread client([&] { host().call("loadModule", "waiting_module"); });
  while (modules().empty()) std::this_thread::yield();
  const auto awaited = fSession->registerService("Awaited", xo::ObjectBuilder());
  client.join();
  EXPECT_TRUE(fSession->find("Waiting").isAlive());
}

}  // namespace
}  // namespace tavro
