#include "services/robotmodel/src/hbrobotmodel.h"

#include <gmock/gmock.h>

#include <future>
#include <map>
#include <optional>
#include <stdexcept>
#include <thread>

#include "framework/hb/module_factory.h"
#include "framework/xo/call.h"
#include "framework/xo/log.h"
#include "services/robotmodel/test/temporary_file.h"

namespace HB::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

const std::string kXml =
    "<robot name=\"Test\" version=\"1.2\">\n"
    "<config key=\"RobotConfig/Head/Type\" value=\"Own\"/><config key=\"A\" value=\"\"/>\n"
    "<leds><led short=\"Eye\"><device name=\"Face/Red\" color=\"red\"/>\n"
    "<device name=\"Face/Blue\" color=\"blue\"/></led></leds></robot>\n";

/// The part of the robot's memory that the module uses.
class FakeMemory {
 public:
  explicit FakeMemory(std::shared_ptr<xo::Session> session) : fSession(std::move(session)) {
    xo::ObjectBuilder builder("HBMemory");
    builder.add(xo::makeMethod({"floatHandles", {}, {}, {}, {}}, this, &FakeMemory::floatHandles));
    builder.add(
        xo::makeMethod({"insertDataBatch", {}, {}, {}, {}}, this, &FakeMemory::insertDataBatch));
    fRegistration = fSession->registerService("HBMemory", std::move(builder));
  }

  std::vector<int> floatHandles(const std::vector<std::string>& keys) {
    xNoteVisibility();
    for (const auto& key : keys) values[key] = 0.0f;
    return std::vector<int>(keys.size());
  }
  void insertDataBatch(const std::vector<std::string>& keys, const std::vector<HBValue>& inserted) {
    xNoteVisibility();
    if (refuses) throw std::invalid_argument("memory is full");
    for (std::size_t i = 0; i < keys.size(); ++i) values[keys[i]] = inserted.at(i);
  }

  std::map<std::string, HBValue> values;
  bool refuses = false;
  bool wasModelVisible = false;

 private:
  void xNoteVisibility() {
    if (fSession->find("HBRobotModel").isAlive()) wasModelVisible = true;
  }

  std::shared_ptr<xo::Session> fSession;
  std::unique_ptr<xo::Session::Registration> fRegistration;
};

class HBRobotModelTest : public testing::Test {
 protected:
  ~HBRobotModelTest() override {
    if (broker) broker->removeModule("HBRobotModel");
  }

  void make(const std::string& xml) {
    file.emplace(xml);
    broker = HBBroker::create(session, {{"model", file->path()}});
    createModule<HBRobotModel>(broker);
  }
  std::string refusal(const std::string& xml) {
    try {
      make(xml);
      return "";
    } catch (const std::exception& error) {
      return error.what();
    }
  }
  xo::Object service() const { return session->find("HBRobotModel"); }

  xo::Ending ending;  // what a loader would raise; outlives the module
  std::shared_ptr<xo::Session> session = std::make_shared<xo::Session>();
  std::optional<FakeMemory> memory{session};
  std::optional<TemporaryFile> file;
  std::shared_ptr<HBBroker> broker;
};

TEST_F(HBRobotModelTest, CreatesEveryDeviceAndConfigurationKeyBeforeItIsVisible) {
  make(kXml);
  EXPECT_THAT(memory->values,
              ElementsAre(Pair("A", HBValue("")),
                          Pair("Device/SubDeviceList/Face/Blue/Actuator/Value", HBValue(0.0f)),
                          Pair("Device/SubDeviceList/Face/Red/Actuator/Value", HBValue(0.0f)),
                          Pair("RobotConfig/Head/Type", HBValue("Own"))));
  EXPECT_FALSE(memory->wasModelVisible);
  EXPECT_TRUE(service().isAlive());
}

TEST_F(HBRobotModelTest, HandsOutTheModelAsItStandsInTheFile) {
  make(kXml);
  EXPECT_EQ(service().call<std::string>("getConfig"), kXml);
}

TEST_F(HBRobotModelTest, TellsTheRobotsNames) {
  make(kXml);
  EXPECT_EQ(service().call<std::string>("getRobotName"), "Test");
  EXPECT_EQ(service().call<std::string>("getPrettyName"), "Test 1.2 (head Own)");
}

TEST_F(HBRobotModelTest, DocumentsWhatItPublishes) {
  make(kXml);
  const auto info = service().describe();
  EXPECT_THAT(info.description, StartsWith("What the robot is made of"));
  ASSERT_EQ(info.methods.size(), 3u);
  for (const auto& method : info.methods) {
    EXPECT_EQ(method.signature.text(), "() -> string");
    EXPECT_FALSE(method.doc.description.empty());
    EXPECT_TRUE(method.doc.returns);
    EXPECT_EQ(method.doc.examples.size(), 1u);
  }
}

TEST_F(HBRobotModelTest, AcceptsAModelWithoutLeds) {
  make("<robot name=\"Bare\"/>");
  EXPECT_THAT(memory->values, IsEmpty());
  EXPECT_TRUE(service().isAlive());
}

TEST_F(HBRobotModelTest, LogsOdditiesOfTheModelAsWarnings) {
  std::vector<std::string> lines;
  const xo::log::Listener listener(xo::log::Level::kDebug, [&](const xo::log::Message& message) {
    if (message.category != "HBRobotModel") return;
    EXPECT_EQ(message.level, xo::log::Level::kWarning);
    lines.emplace_back(message.text);
  });
  make(
      "<robot name=\"\"><leds><led short=\"s\">\n<device name=\"\" "
      "color=\"red\"/></led></leds></robot>");
  EXPECT_THAT(lines, ElementsAre(file->path() + ":1: the robot's name is empty",
                                 file->path() + ":2: the name of a device is empty"));
  EXPECT_THAT(memory->values,
              ElementsAre(Pair("Device/SubDeviceList//Actuator/Value", HBValue(0.0f))));
}

TEST_F(HBRobotModelTest, EndsWithTheErrorOfABrokenModelAndCreatesNothing) {
  const std::string text = refusal("<robot name=\"T\">\n<leds>");
  EXPECT_EQ(text, file->path() + ":2: truncated: the text ends inside <leds> of line 2");
  EXPECT_THAT(memory->values, IsEmpty());
  EXPECT_FALSE(service().isAlive());
}

TEST_F(HBRobotModelTest, RefusesAConfigurationKeyInTheNameOfADevice) {
  const std::string key = "Device/SubDeviceList/Red/Actuator/Value";
  const std::string text =
      refusal("<robot name=\"T\"><config key=\"" + key +
              "\" value=\"1\"/><leds><led short=\"s\"><device name=\"Red\" color=\"red\"/>"
              "</led></leds></robot>");
  EXPECT_EQ(text, file->path() + ": the configuration key \"" + key +
                      "\" is where the value of a device stands; choose another");
  EXPECT_THAT(memory->values, IsEmpty());
}

TEST_F(HBRobotModelTest, PassesAnErrorOfTheMemoryOn) {
  memory->refuses = true;
  EXPECT_EQ(refusal(kXml), "memory is full");
  EXPECT_FALSE(service().isAlive());
}

TEST_F(HBRobotModelTest, NamesAMissingSetting) {
  broker = HBBroker::create(session);
  try {
    createModule<HBRobotModel>(broker);
    FAIL() << "started without a model";
  } catch (const HBError& error) {
    EXPECT_THAT(error.what(), HasSubstr("model"));
  }
}

TEST_F(HBRobotModelTest, WaitsForTheMemory) {
  memory.reset();
  auto making = std::async(std::launch::async, [&] {
    const xo::CallScope scope(&ending);
    make(kXml);
  });
  while (!ending.isWaiting()) std::this_thread::yield();
  EXPECT_FALSE(service().isAlive());
  memory.emplace(session);
  making.get();
  EXPECT_EQ(memory->values.size(), 4u);
}

TEST_F(HBRobotModelTest, StopsWaitingForTheMemoryWhenItsLoaderEnds) {
  memory.reset();
  auto making = std::async(std::launch::async, [&] {
    const xo::CallScope scope(&ending);
    return refusal(kXml);
  });
  while (!ending.isWaiting()) std::this_thread::yield();
  ending.raise();
  EXPECT_NE(making.get(), "");
  EXPECT_FALSE(service().isAlive());
}

}  // namespace
}  // namespace HB::test
