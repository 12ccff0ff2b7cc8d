// Damaged models: each is read or refused; none crashes, hangs or comes through half-read.
#include <gmock/gmock.h>

#include <random>

#include "framework/sim/model.h"

namespace Sim {
namespace {

const std::string kModel = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- A small robot. -->
<robot name="Test" version="1.0">
  <config key="RobotConfig/Head/Type" value="Vanto &amp; more"/>
  <leds groups="AllLeds">
    <leds groups="FaceLeds">
      <led short="Eye" groups="LeftEye" x="-32.5" y="1e1" shape="sector" width="8" angle="45">
        <device name="Face/Red" color="red"/>
        <device name="Face/Green" color="green" groups="G H"/>
        <device name="Face/Blue" color='blue' short="Own"/>
      </led>
    </leds>
    <led short="Ear" x="1" y="2"><device name="Ear" color="amber"/></led>
  </leds>
</robot>
)";

struct Outcomes {
  int accepted = 0;
  int refused = 0;
};

void read(const std::string& xml, Outcomes& outcomes) {
  try {
    const Model model(xml);
    ++outcomes.accepted;
    for (const auto* led : model.ledActuators()) {
      ASSERT_LE(led->name().size(), Model::kMaxNameBytes);
      ASSERT_TRUE(!led->position() || std::abs(led->position()->x) <= Model::kMaxMillimetres);
      ASSERT_GE(led->shape().width, 0);
    }
  } catch (const ModelError& error) {
    ++outcomes.refused;
    ASSERT_EQ(std::string(error.what()).find('\n'), std::string::npos) << xml;
    ASSERT_GT(error.line(), 0) << xml;
    ASSERT_LT(error.problem().size(), 300u) << xml;
  }
}

TEST(DamagedModel, IsRefusedWhereverItIsCutOff) {
  Outcomes outcomes;
  const auto end = kModel.find("</robot>") + 8;
  for (std::size_t length = 0; length < end; ++length) read(kModel.substr(0, length), outcomes);
  EXPECT_EQ(outcomes.refused, static_cast<int>(end));
  read(kModel.substr(0, end), outcomes);
  EXPECT_EQ(outcomes.accepted, 1);
}

TEST(DamagedModel, IsReadOrRefusedWithAnyByteChanged) {
  Outcomes outcomes;
  for (std::size_t at = 0; at < kModel.size(); ++at) {
    for (const char byte : {'\0', '\n', '"', '&', '/', '<', '=', '>', '\x80', '9'}) {
      std::string xml = kModel;
      xml[at] = byte;
      read(xml, outcomes);
    }
  }
  // Damage inside a comment or a name passes; damage of a tag does not.
  EXPECT_GT(outcomes.accepted, 100);
  EXPECT_GT(outcomes.refused, 1000);
}

TEST(DamagedModel, IsReadOrRefusedAfterManyRandomChanges) {
  std::mt19937 random(20240229);
  const auto below = [&random](std::size_t end) { return random() % end; };
  const std::string pieces[] = {"<",  ">",       "/>",    "\"", "<leds>", "</leds>", "<!--", "-->",
                                "&#", "<device", "</led", "<?", "x=\"",   "\xc3",    "e999", "nan"};
  Outcomes outcomes;
  for (int round = 0; round < 20000; ++round) {
    std::string xml = kModel;
    for (auto changes = 1 + below(4); changes > 0; --changes) {
      const auto at = below(xml.size());
      switch (below(5)) {
        case 0:
          xml[at] = static_cast<char>(random());
          break;
        case 1:
          xml.erase(at, 1 + below(30));
          break;
        case 2:
          xml.insert(at, pieces[below(std::size(pieces))]);
          break;
        case 3:
          xml.insert(at, xml.substr(below(xml.size()), below(200)));
          break;
        default:
          xml[at] = static_cast<char>(xml[at] ^ (1 << below(8)));
      }
      if (xml.empty()) break;
    }
    read(xml, outcomes);
  }
  EXPECT_GT(outcomes.accepted, 500);
  EXPECT_GT(outcomes.refused, 5000);
}

}  // namespace
}  // namespace Sim
