#include "framework/hb/hb_module.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <future>
#include <thread>
#include <vector>

#include "framework/hb/module_factory.h"
#include "framework/xo/os.h"

namespace {

/// What happened to the module under test, outliving it.
std::vector<std::string> gEvents;
bool gInitFails = false;

class Lamp : public HB::HBModule {
 public:
  explicit Lamp(std::shared_ptr<HB::HBBroker> broker) : HBModule(std::move(broker), "Lamp") {
    setModuleDescription("A lamp.");
    functionName("light", "Lamp", "Lights it.");
    addParam("level", "0 to 1.");
    setReturn("level", "What it was.");
    addMethodExample("python", "# Example\n");
    advertiseMethod(this, &Lamp::light);
    functionName("blink", "Lamp", "Once.");
    bindMethodOverload(createFunctor(this, &Lamp::blink));
    functionName("blink", "Lamp", "In a colour.");
    bindMethodOverload(createFunctor(this, &Lamp::blinkIn));
    functionName("glow", "Lamp", "Until it is stopped.");
    advertiseMethod(this, &Lamp::glow);
  }
  ~Lamp() override { gEvents.push_back("destroyed"); }

  void init() override {
    gEvents.push_back(getParentBroker()->getSession()->find("Lamp") ? "init, visible" : "init");
    if (gInitFails) throw HB::HBError("no bulb");
  }
  void exit() override { gEvents.push_back("exit"); }

  float light(const float& level) { return std::exchange(fLevel, level); }
  void blink() { gEvents.push_back("blink"); }
  void blinkIn(const int& color) { gEvents.push_back("blink " + std::to_string(color)); }
  void glow() {
    const int id = getMethodID();
    glowing.set_value(id);
    while (!isStopRequired(id)) xo::os::msleep(1);
  }
  std::promise<int> glowing;

 private:
  float fLevel = 0;
};

class ModuleTest : public testing::Test {
 protected:
  ModuleTest() {
    gEvents.clear();
    gInitFails = false;
  }
  ~ModuleTest() override { broker->removeModule("Lamp"); }
  xo::Object lamp() { return session->find("Lamp"); }
  std::shared_ptr<Lamp> module() {
    return std::static_pointer_cast<Lamp>(broker->findModule("Lamp"));
  }

  std::shared_ptr<xo::Session> session = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> broker = HB::HBBroker::create(session);
};

TEST_F(ModuleTest, IsPublishedWhenItsConstructionIsOverAndBeforeInit) {
  const auto made = HB::createModule<Lamp>(broker);
  EXPECT_EQ(gEvents, (std::vector<std::string>{"init, visible"}));
  EXPECT_EQ(broker->findModule("Lamp"), made);
  EXPECT_EQ(made->shared_from_this(), made);
  EXPECT_EQ(lamp().call<float>("light", 0.5f), 0.0f);
  EXPECT_EQ(lamp().call<float>("light", 1.0f), 0.5f);
}

TEST_F(ModuleTest, DescribesItsMethodsAsDocumented) {
  HB::createModule<Lamp>(broker);
  const auto info = lamp().describe();
  EXPECT_EQ(info.description, "A lamp.");
  ASSERT_EQ(info.methods.size(), 4u);
  const auto& doc = info.methods[0].doc;
  EXPECT_EQ(doc.name, "light");
  EXPECT_EQ(doc.params, (std::vector<xo::NamedText>{{"level", "0 to 1."}}));
  EXPECT_EQ(doc.returns, (xo::NamedText{"level", "What it was."}));
  EXPECT_EQ(doc.examples, (std::vector<xo::NamedText>{{"python", "# Example\n"}}));
  EXPECT_EQ(info.methods[2].signature.text(), "(int)");
}

TEST_F(ModuleTest, OverloadsShareOneName) {
  HB::createModule<Lamp>(broker);
  lamp().call("blink");
  lamp().call("blink", 255);
  EXPECT_EQ(gEvents.at(1), "blink");
  EXPECT_EQ(gEvents.at(2), "blink 255");
}

TEST_F(ModuleTest, AFailedInitIsFollowedByExitAndThrownOn) {
  gInitFails = true;
  try {
    HB::createModule<Lamp>(broker);
    FAIL() << "no error";
  } catch (const HB::HBError& error) {
    EXPECT_STREQ(error.what(), "no bulb");
  }
  EXPECT_EQ(gEvents, (std::vector<std::string>{"init, visible", "exit", "destroyed"}));
  EXPECT_FALSE(lamp());
  EXPECT_TRUE(broker->modules().empty());
}

TEST_F(ModuleTest, CannotStandTwice) {
  HB::createModule<Lamp>(broker);
  EXPECT_THROW(HB::createModule<Lamp>(broker), HB::HBError);
  EXPECT_EQ(broker->modules().size(), 1u);
  lamp().call("blink");
}

TEST_F(ModuleTest, StopEndsTheCallWithThatId) {
  HB::createModule<Lamp>(broker);
  std::thread caller([object = lamp()] { object.call("glow"); });
  const int id = module()->glowing.get_future().get();
  EXPECT_GT(id, 0);
  module()->stop(id + 1);
  module()->stop(id);
  caller.join();
}

TEST_F(ModuleTest, ShutDownEndsRunningCallsAndMakesHandlesDead) {
  HB::createModule<Lamp>(broker);
  const auto handle = lamp();
  std::thread caller([handle] { handle.call("glow"); });
  module()->glowing.get_future().wait();
  broker->removeModule("Lamp");  // the last owner lets go: shut down, then destroyed
  EXPECT_EQ(gEvents.back(), "destroyed");
  caller.join();
  EXPECT_FALSE(handle.isAlive());
}

TEST_F(ModuleTest, CanBeMadeAgainAndOldHandlesServeTheNewOne) {
  HB::createModule<Lamp>(broker);
  const auto handle = lamp();
  broker->removeModule("Lamp");
  HB::createModule<Lamp>(broker);
  EXPECT_EQ(handle.call<float>("light", 1.0f), 0.0f);
}

TEST_F(ModuleTest, UsesItsLoadersEnding) {
  xo::Ending ending;
  {
    const xo::CallScope scope(&ending);
    HB::createModule<Lamp>(broker);
  }
  EXPECT_EQ(&module()->ending(), &ending);
  broker->removeModule("Lamp");  // before its ending goes
}

TEST_F(ModuleTest, GenericCallsReachTheTable) {
  HB::createModule<Lamp>(broker);
  EXPECT_EQ(module()->execute("light", {0.5f}), HB::HBValue(0.0f));
  EXPECT_EQ(module()->metaCall("light", {1}).value(), HB::HBValue(0.5f));
  EXPECT_TRUE(module()->metaCall("dark", {}).hasError());
  EXPECT_THROW(module()->metaProperty("p"), HB::HBError);
  EXPECT_THROW(module()->metaConnect("s", {}), HB::HBError);
  EXPECT_THROW(module()->setMetaObject("late"), HB::HBError);
  EXPECT_EQ(module()->version(), "1.0.0");
}

class Undocumented : public HB::HBModule {
 public:
  explicit Undocumented(std::shared_ptr<HB::HBBroker> broker)
      : HBModule(std::move(broker), "Undocumented") {
    advertiseMethod(this, &Undocumented::work);
  }
  void work() {}
};

TEST_F(ModuleTest, AMethodWithoutDocumentationIsRefused) {
  EXPECT_THROW(HB::createModule<Undocumented>(broker), HB::HBError);
  EXPECT_FALSE(session->find("Undocumented"));
}

/// Place of a virtual operation in the table: what a pointer to it holds, in units of one slot.
template <class C, class R, class... A>
int slotOf(R (C::*operation)(A...)) {
  std::ptrdiff_t offset = 0;
  static_assert(sizeof(operation) >= sizeof(offset));
  std::memcpy(&offset, &operation, sizeof(offset));
  return static_cast<int>((offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST(HBModule, KeepsTheOrderOfItsVirtualOperations) {
  // Slots 0 and 1 are the complete and the deleting destructor.
  EXPECT_EQ(slotOf(&HB::HBModule::setMetaObject), 2);
  EXPECT_EQ(slotOf(&HB::HBModule::metaCall), 3);
  EXPECT_EQ(slotOf(&HB::HBModule::metaPost), 4);
  EXPECT_EQ(slotOf(&HB::HBModule::metaConnect), 5);
  EXPECT_EQ(slotOf(&HB::HBModule::metaDisconnect), 6);
  EXPECT_EQ(slotOf(&HB::HBModule::metaProperty), 7);
  EXPECT_EQ(slotOf(&HB::HBModule::metaSetProperty), 8);
  EXPECT_EQ(slotOf(&HB::HBModule::execute), 9);
  EXPECT_EQ(slotOf(&HB::HBModule::version), 10);
  EXPECT_EQ(slotOf(&HB::HBModule::exit), 11);
  EXPECT_EQ(slotOf(&HB::HBModule::init), 12);
  EXPECT_EQ(slotOf(&HB::HBModule::stop), 13);
}

}  // namespace
