// Builds the text of a robot model, LED by LED.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace HB::test {

class RobotXml {
 public:
  /// A colour device: the actuator's name and its colour ("red", "white", ...).
  struct Device {
    std::string name;
    std::string color;
  };

  explicit RobotXml(std::string name = "Vanto") : fName(std::move(name)) {}

  RobotXml& head(const std::string& type, const std::string& version);
  RobotXml& config(const std::string& key, const std::string& value);
  /// One physical LED: its short name, its groups separated by spaces, its devices.
  RobotXml& led(const std::string& shortname, const std::string& groups,
                const std::vector<Device>& devices);
  /// An RGB LED whose devices are `pattern` with "%" replaced by "Red", "Green" and "Blue".
  RobotXml& rgbLed(const std::string& shortname, const std::string& groups,
                   const std::string& pattern);
  std::string text() const;

  /// A small robot with one of everything: two RGB eye LEDs ("Eye0", "Eye1"), two ear LEDs, a white
  /// brain LED, a chest of three short names and a foot.
  static RobotXml small();

 private:
  std::string fName;
  std::string fConfig;
  std::string fLeds;
};

/// Names of the small robot.
namespace small {
inline const std::string kPrefix = "Device/SubDeviceList/";
inline const std::string kEye0Blue = "Face/Led/Blue/0Deg/Actuator/Value";
inline const std::string kEye0Green = "Face/Led/Green/0Deg/Actuator/Value";
inline const std::string kEye0Red = "Face/Led/Red/0Deg/Actuator/Value";
inline const std::string kEye1Blue = "Face/Led/Blue/45Deg/Actuator/Value";
inline const std::string kEye1Green = "Face/Led/Green/45Deg/Actuator/Value";
inline const std::string kEye1Red = "Face/Led/Red/45Deg/Actuator/Value";
inline const std::string kEar1 = "Ears/Led/0Deg/Actuator/Value";
inline const std::string kEar2 = "Ears/Led/36Deg/Actuator/Value";
inline const std::string kBrain = "Head/Led/Front/Actuator/Value";
inline const std::string kChestRed = "ChestBoard/Led/Red/Actuator/Value";
inline const std::string kChestGreen = "ChestBoard/Led/Green/Actuator/Value";
inline const std::string kChestBlue = "ChestBoard/Led/Blue/Actuator/Value";
}  // namespace small

}  // namespace HB::test
