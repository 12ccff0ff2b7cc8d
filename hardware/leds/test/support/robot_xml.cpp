#include "hardware/leds/test/support/robot_xml.h"

namespace HB::test {

RobotXml& RobotXml::head(const std::string& type, const std::string& version) {
  return config("RobotConfig/Head/Type", type).config("RobotConfig/Head/Version", version);
}

RobotXml& RobotXml::config(const std::string& key, const std::string& value) {
  fConfig += "  <config key=\"" + key + "\" value=\"" + value + "\"/>\n";
  return *this;
}

RobotXml& RobotXml::led(const std::string& shortname, const std::string& groups,
                        const std::vector<Device>& devices) {
  fLeds += "    <led short=\"" + shortname + "\" groups=\"" + groups + "\">\n";
  for (const auto& [name, color] : devices) {
    fLeds += "      <device name=\"" + name + "\" color=\"" + color + "\"/>\n";
  }
  fLeds += "    </led>\n";
  return *this;
}

RobotXml& RobotXml::rgbLed(const std::string& shortname, const std::string& groups,
                           const std::string& pattern) {
  const auto percent = pattern.find('%');
  const auto named = [&](const std::string& color) {
    return pattern.substr(0, percent) + color + pattern.substr(percent + 1);
  };
  return led(shortname, groups,
             {{named("Red"), "red"}, {named("Green"), "green"}, {named("Blue"), "blue"}});
}

std::string RobotXml::text() const {
  return "<robot name=\"" + fName + "\" version=\"1.0\">\n" + fConfig + "  <leds>\n" + fLeds +
         "  </leds>\n</robot>\n";
}

RobotXml RobotXml::small() {
  RobotXml xml;
  xml.rgbLed("Eye0", "FaceLeds FaceLed0 AllLeds", "Face/Led/%/0Deg")
      .rgbLed("Eye1", "FaceLeds FaceLed1 AllLeds", "Face/Led/%/45Deg")
      .led("Ear1", "EarLeds EarLed1 AllLeds", {{"Ears/Led/0Deg", "blue"}})
      .led("Ear2", "EarLeds EarLed2 AllLeds", {{"Ears/Led/36Deg", "blue"}})
      .led("Brain", "BrainLeds AllLeds", {{"Head/Led/Front", "white"}});
  for (const std::string color : {"Red", "Green", "Blue"}) {
    const std::string lower = color == "Red" ? "red" : color == "Green" ? "green" : "blue";
    xml.led("ChestLeds" + color, "ChestLeds AllLeds", {{"ChestBoard/Led/" + color, lower}});
  }
  xml.rgbLed("LeftFoot", "FeetLeds AllLeds", "LFoot/Led/%");
  return xml;
}

}  // namespace HB::test
