#include "services/motion/src/hbmotion.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>
#include <thread>
#include <utility>

#include "framework/hb/module_factory.h"
#include "services/memory/src/hbmemory.h"

namespace HB {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using Keys = std::vector<std::string>;
using Lists = std::vector<std::vector<float>>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr const char* kPrefix = "Device/SubDeviceList/";
constexpr const char* kModel = R"(<robot name="Test"><leds>
  <led short="One"><device name="Face/Red" color="red"/><device name="Face/Blue" color="blue"/></led>
  <led short="Twice"><device name="Chest" color="green"/><device name="Chest" color="green"/></led>
</leds></robot>)";

std::string key(const std::string& device) { return kPrefix + device + "/Actuator/Value"; }

class HBMotionTest : public testing::Test {
 protected:
  HBMotionTest() {
    createModule<HBMemory>(broker);
    memory = broker->getSpecialisedProxy<HBMemoryProxy>("HBMemory");
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<std::string()>({"getConfig", "", {}, {}, {}},
                                              [] { return std::string(kModel); }));
    robotModel = session->registerService("HBRobotModel", std::move(builder));
  }
  ~HBMotionTest() override {
    broker->removeModule("HBMotion");
    robotModel.reset();
    memory.reset();
    broker->removeModule("HBMemory");
  }

  void load() {
    createModule<HBMotion>(broker);
    motion = broker->getProxy("HBMotion");
  }
  void animate(const Keys& keys, const Lists& times, const Lists& values) {
    motion->call("_animateLEDs", keys, times, values);
  }
  float now(const std::string& device) { return memory->getData(key(device)).toFloat(); }
  std::vector<float> state(const std::string& device) {
    return motion->call<Lists>("getLEDStates", Keys{key(device)}).front();
  }
  std::string refusal(const Keys& keys, const Lists& times, const Lists& values) {
    try {
      animate(keys, times, values);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "(accepted)";
  }

  xo::ManualClock clock;
  std::shared_ptr<xo::Session> session = std::make_shared<xo::Session>();
  std::shared_ptr<HBBroker> broker = HBBroker::create(session);
  std::shared_ptr<HBMemoryProxy> memory;
  std::unique_ptr<xo::Session::Registration> robotModel;
  std::shared_ptr<HBProxy> motion;
};

TEST_F(HBMotionTest, HasAChannelForEveryDeviceOfTheModelOnce) {
  load();
  EXPECT_THAT(motion->call<Keys>("listLEDs"),
              ElementsAre(key("Chest"), key("Face/Blue"), key("Face/Red")));
  EXPECT_EQ(memory->getData(key("Chest")), HBValue(0.0f));
}

TEST_F(HBMotionTest, WritesAValueAtTimeZeroToTheMemoryBeforeItReturns) {
  load();
  animate({key("Face/Red"), key("Chest")}, {{0}, {0}}, {{0.5f}, {2}});
  EXPECT_EQ(now("Face/Red"), 0.5f);
  EXPECT_EQ(now("Chest"), 1.0f);
}

TEST_F(HBMotionTest, FadesLinearlyInTheMemory) {
  load();
  animate({key("Face/Red")}, {{1}}, {{0.6f}});
  EXPECT_EQ(now("Face/Red"), 0.0f);
  clock.advance(milliseconds(500));
  EXPECT_FLOAT_EQ(now("Face/Red"), 0.3f);
  clock.advance(milliseconds(500));
  EXPECT_EQ(now("Face/Red"), 0.6f);
  EXPECT_EQ(now("Face/Blue"), 0.0f);
}

TEST_F(HBMotionTest, TurnsSuccessiveCallsWithGrowingTimesIntoAChain) {
  load();
  const Keys keys{key("Face/Blue"), key("Face/Red")};
  animate(keys, {{1}, {1}}, {{0}, {1}});
  animate(keys, {{3}, {3}}, {{1}, {0}});
  animate(keys, {{3.5f}, {3.5f}}, {{0}, {0}});
  clock.advance(seconds(1));
  EXPECT_EQ(now("Face/Red"), 1.0f);
  clock.advance(seconds(1));
  EXPECT_EQ(now("Face/Red"), 0.5f);
  EXPECT_EQ(now("Face/Blue"), 0.5f);
  clock.advance(seconds(1));
  EXPECT_EQ(now("Face/Blue"), 1.0f);
  clock.advance(milliseconds(500));
  EXPECT_EQ(now("Face/Blue"), 0.0f);
}

TEST_F(HBMotionTest, GivesAnyMixtureOfMemoryAndMovementsOneOrder) {
  load();
  animate({key("Chest")}, {{1}}, {{1}});
  clock.advance(milliseconds(500));
  animate({key("Chest")}, {{0}}, {{0}});
  clock.advance(seconds(2));
  EXPECT_EQ(now("Chest"), 0.0f);
}

TEST_F(HBMotionTest, ShowsAWatcherAllKeysOfATickAtOnce) {
  load();
  const int id = memory->subscribe("Face/*", [] {});
  memory->changes(id);
  animate({key("Face/Red"), key("Face/Blue")}, {{1}, {1}}, {{1}, {1}});
  clock.advance(milliseconds(10));
  const auto changed = memory->changes(id);
  ASSERT_EQ(changed.size(), 2u);
  EXPECT_EQ(changed[0].second, changed[1].second);
  memory->unsubscribe(id);
}

TEST_F(HBMotionTest, AppliesTheEntriesOfAKeyThatComesTwiceOneAfterAnother) {
  load();
  animate({key("Chest"), key("Chest")}, {{0}, {1}}, {{1}, {0}});
  EXPECT_EQ(now("Chest"), 1.0f);
  clock.advance(milliseconds(500));
  EXPECT_EQ(now("Chest"), 0.5f);
}

TEST_F(HBMotionTest, AcceptsEmptyListsAndDoesNothing) {
  load();
  animate({key("Chest")}, {{1}}, {{1}});
  animate({}, {}, {});
  animate({key("Chest")}, {{}}, {{}});
  clock.advance(seconds(1));
  EXPECT_EQ(now("Chest"), 1.0f);
}

struct Refused {
  std::string text;
  Lists times;
  Lists values;
  std::string second = "Chest";
};
class HBMotionRefusal : public HBMotionTest, public testing::WithParamInterface<Refused> {};

TEST_P(HBMotionRefusal, NamesTheKeyAndTheIndexAndLeavesEveryLedAsItWas) {
  load();
  const Refused& row = GetParam();
  animate({key("Face/Red")}, {{1}}, {{1}});
  EXPECT_EQ(refusal({key("Face/Red"), key(row.second)}, row.times, row.values),
            "HBMotion: _animateLEDs: " + row.text);
  EXPECT_EQ(now("Face/Red"), 0.0f);
  EXPECT_EQ(state("Face/Red")[0], 1.0f) << "the pending fade goes on";
  clock.advance(seconds(1));
  EXPECT_EQ(now("Face/Red"), 1.0f);
}

const std::string kSecondKey = "key 1, '" + key("Chest") + "': ";
INSTANTIATE_TEST_SUITE_P(
    Rows, HBMotionRefusal,
    testing::ValuesIn(std::vector<Refused>{
        {"2 keys, but 1 lists of times and 2 lists of values", {{0}}, {{0.5f}, {1}}},
        {"2 keys, but 2 lists of times and 0 lists of values", {{0}, {0}}, {}},
        {"key 1, '" + key("Nose") + "': no such LED", {{0}, {0}}, {{0.5f}, {1}}, "Nose"},
        {kSecondKey + "2 times, but 1 values", {{0}, {0, 1}}, {{0.5f}, {1}}},
        {kSecondKey + "times[1] is nan, not finite",
         {{0}, {0, std::numeric_limits<float>::quiet_NaN()}},
         {{0.5f}, {1, 1}}},
        {kSecondKey + "times[0] is inf, not finite", {{0}, {kInfinity}}, {{0.5f}, {1}}},
        {kSecondKey + "times[0] is -0.5, negative", {{0}, {-0.5f}}, {{0.5f}, {1}}},
        {kSecondKey + "times[2] is 0.5, less than the one before",
         {{0}, {0, 1, 0.5f}},
         {{0.5f}, {1, 1, 1}}},
        {kSecondKey + "values[0] is nan, not finite",
         {{0}, {0}},
         {{0.5f}, {std::numeric_limits<float>::quiet_NaN()}}},
        {kSecondKey + "values[1] is -inf, not finite", {{0}, {0, 1}}, {{0.5f}, {1, -kInfinity}}},
    }));

TEST_F(HBMotionTest, RefusesMoreKeyFramesThanAnLedMayHavePending) {
  load();
  std::vector<float> times(Animator::kMaxPending + 1);
  for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<float>(i) + 1;
  const std::vector<float> values(times.size(), 1.0f);
  EXPECT_EQ(
      refusal({key("Face/Red"), key("Chest")}, {{0}, times}, {{1}, values}),
      "HBMotion: _animateLEDs: key 1, '" + key("Chest") + "': more than 65536 key frames pending");
  EXPECT_EQ(now("Face/Red"), 0.0f);
  times.pop_back();
  animate({key("Chest")}, {times}, {{values.begin() + 1, values.end()}});
  EXPECT_THAT(refusal({key("Chest")}, {{70000}}, {{0}}), HasSubstr("more than 65536"));
  animate({key("Chest")}, {{1, 2}}, {{0, 1}});  // replaces them
  animate({key("Chest")}, {{70000}}, {{0}});
}

TEST_F(HBMotionTest, TellsApartWhatIsAskedWhatIsNowAndWhereItGoes) {
  load();
  animate({key("Chest")}, {{2}}, {{1.5f}});
  clock.advance(seconds(1));
  EXPECT_THAT(state("Chest"), ElementsAre(1.5f, 0.75f, 1.0f, 1.0f));
  EXPECT_THAT(state("Face/Red"), ElementsAre(0.0f, 0.0f, 0.0f, 0.0f));
}

TEST_F(HBMotionTest, RefusesTheStateOfAnUnknownLed) {
  load();
  try {
    state("Nose");
    FAIL() << "no exception";
  } catch (const std::invalid_argument& error) {
    EXPECT_THAT(error.what(), StartsWith("HBMotion: getLEDStates: key 0"));
    EXPECT_THAT(error.what(), HasSubstr("Nose"));
  }
}

TEST_F(HBMotionTest, TellsForWhichCallEachLedWasLastWritten) {
  load();
  const auto origins = [&] {
    return motion->call<std::vector<int>>("getLEDOrigins", motion->call<Keys>("listLEDs"));
  };
  EXPECT_THAT(origins(), ElementsAre(0, 0, 0));
  {
    const xo::CallScope client(nullptr, nullptr, 41);
    animate({key("Chest"), key("Face/Red")}, {{0}, {1}}, {{1}, {1}});
  }
  EXPECT_THAT(origins(), ElementsAre(41, 0, 41));
  {
    const xo::CallScope client(nullptr, nullptr, 42);
    animate({key("Face/Red"), key("Face/Blue")}, {{2}, {}}, {{1}, {}});
    EXPECT_EQ(refusal({key("Chest")}, {{-1}}, {{0}}).substr(0, 8), "HBMotion");
  }
  EXPECT_THAT(origins(), ElementsAre(41, 0, 42)) << "nothing was taken over for the others";
  animate({key("Face/Red")}, {{0}}, {{0}});
  EXPECT_THAT(origins(), ElementsAre(41, 0, 0)) << "the robot's own doing";
}

TEST_F(HBMotionTest, RefusesTheOriginOfAnUnknownLed) {
  load();
  try {
    motion->call<std::vector<int>>("getLEDOrigins", Keys{key("Chest"), key("Nose")});
    FAIL() << "no exception";
  } catch (const std::invalid_argument& error) {
    EXPECT_THAT(error.what(), StartsWith("HBMotion: getLEDOrigins: key 1"));
    EXPECT_THAT(error.what(), HasSubstr("Nose"));
  }
}

TEST_F(HBMotionTest, MovesOnFromWhatTheMemoryHoldsWhenItIsLoaded) {
  memory->insertData(key("Chest"), 1.0f);
  memory->insertData(key("Face/Red"), kInfinity);
  load();
  animate({key("Chest"), key("Face/Red")}, {{1}, {1}}, {{0}, {1}});
  clock.advance(milliseconds(500));
  EXPECT_EQ(now("Chest"), 0.5f);
  EXPECT_EQ(now("Face/Red"), 0.5f);
}

TEST_F(HBMotionTest, WaitsForTheServicesThatItNeeds) {
  robotModel->close();
  robotModel.reset();
  std::thread loader([this] { load(); });
  EXPECT_FALSE(broker->findModule("HBMotion"));
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<std::string()>({"getConfig", "", {}, {}, {}},
                                            [] { return std::string(kModel); }));
  robotModel = session->registerService("HBRobotModel", std::move(builder));
  loader.join();
  EXPECT_EQ(motion->call<Keys>("listLEDs").size(), 3u);
}

TEST_F(HBMotionTest, CanBeUnloadedInTheMiddleOfAMovement) {
  load();
  animate({key("Chest")}, {{1}}, {{1}});
  clock.advance(milliseconds(500));
  broker->removeModule("HBMotion");
  EXPECT_FALSE(motion->object().isAlive());
  clock.advance(seconds(1));
  EXPECT_EQ(now("Chest"), 0.5f);
  load();
  animate({key("Chest")}, {{0.5f}}, {{0}});
  clock.advance(milliseconds(250));
  EXPECT_EQ(now("Chest"), 0.25f);
}

TEST_F(HBMotionTest, DrivesOnWhenTheMemoryComesBack) {
  load();
  animate({key("Face/Blue")}, {{0}}, {{0.25F}});
  float red = 0.5F;
  float green = 1;
  for (const bool isMissed : {true, false}) {  // whether a write falls into its absence
    broker->removeModule("HBMemory");
    if (isMissed) animate({key("Face/Red")}, {{0}}, {{0.75F}});
    createModule<HBMemory>(broker);
    animate({key("Face/Red")}, {{0}}, {{red}});
    EXPECT_EQ(now("Face/Red"), red);
    animate({key("Chest")}, {{0}}, {{green}});
    EXPECT_EQ(now("Face/Blue"), 0.25F);  // what the old memory held and motion still means
    EXPECT_EQ(now("Chest"), green);
    std::swap(red, green);
  }
}

TEST_F(HBMotionTest, WritesNoOtherKeysOfAMemoryThatCameBackWithOthers) {
  load();
  animate({key("Chest")}, {{0}}, {{0.5F}});
  broker->removeModule("HBMemory");
  createModule<HBMemory>(broker);
  const std::vector<std::string> others{"Demo/A", "Demo/B", "Demo/C", "Demo/D", "Demo/E"};
  broker->getProxy("HBMemory")->call<std::vector<int>>("floatHandles", others);
  animate({key("Chest")}, {{0}}, {{1.0F}});
  EXPECT_EQ(now("Chest"), 1.0F);
  for (const auto& other : others) {
    EXPECT_EQ(broker->getProxy("HBMemory")->call<HBValue>("getData", other), HBValue(0.0F));
  }
}

TEST_F(HBMotionTest, DocumentsEveryMethodAndEveryArgument) {
  load();
  const xo::ObjectInfo info = motion->object().describe();
  EXPECT_EQ(info.methods.size(), 5u);
  EXPECT_FALSE(info.description.empty());
  for (const xo::MethodInfo& method : info.methods) {
    EXPECT_FALSE(method.doc.description.empty()) << method.doc.name;
    EXPECT_EQ(method.doc.params.size(), method.signature.params.size()) << method.doc.name;
    EXPECT_TRUE(method.signature.isRemote()) << method.doc.name;
  }
}

}  // namespace
}  // namespace HB
