// What clients see of the service: its description and its method table, as data.
//
// Texts are part of the interface, with their spelling. A row's place is its place in the list that
// clients get. Where a text and an operation disagree (the range of "_setIntensityRatio"), both are
// meant to stay.

#include <functional>
#include <optional>

#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/ledsrotationasr.h"

namespace HB {

/// Nested, so that it may use the module's protected building operations.
struct HBLeds::MethodTable {
  using Bind = std::function<void(HBLeds&)>;

  struct Row {
    const char* name;
    const char* description;
    std::vector<xo::NamedText> params = {};
    std::optional<xo::NamedText> returns = {};
    std::vector<xo::NamedText> examples = {};  // language and program: "python" first, then "c++"
    Bind bind = {};
  };

  /// The framework decides on which thread the operation runs.
  template <class Operation>
  static Bind advertised(Operation operation) {
    return [operation](HBLeds& leds) { leds.advertiseMethod(&leds, operation); };
  }
  /// The same for an operation of one of the module's parts.
  template <class Part, class Operation>
  static Bind advertisedOn(boost::shared_ptr<Part> HBLeds::*part, Operation operation) {
    return [part, operation](HBLeds& leds) { leds.advertiseMethod((leds.*part).get(), operation); };
  }
  /// One of several operations that share a name; the arguments' types `A` pick it.
  template <class... A, class R>
  static Bind overload(R (HBLeds::*operation)(A...)) {
    return [operation](HBLeds& leds) { leds.bindMethodOverload(createFunctor(&leds, operation)); };
  }
  /// The one of them that takes none.
  static Bind overload(void (HBLeds::*operation)()) {
    return [operation](HBLeds& leds) { leds.bindMethodOverload(createFunctor(&leds, operation)); };
  }

  static const char* description();
  static std::vector<Row> rows();
};

namespace {

constexpr char kName[] = "The name of the LED or Group.";
constexpr char kIntensity[] = "The intensity of the LED or Group (a value between 0 and 1).";
constexpr char kFadeTime[] = "Time used to fade in seconds.";
constexpr char kAnimationTime[] = "Approximate duration of the animation in seconds.";
constexpr char kEyeShadow[] = "The color of the eye shadow during and after the blink.";
constexpr char kRgb[] = "The RGB value led, RGB as seen in hexa-decimal: 0x00RRGGBB.";
constexpr char kFadeRgb[] = "Sets the color of an RGB led.";

std::vector<xo::NamedText> channelParams() {
  return {{"name", kName},
          {"red", "the intensity of red channel (0-1)."},
          {"green", "the intensity of green channel (0-1)."},
          {"blue", "the intensity of blue channel (0-1)."},
          {"duration", kFadeTime}};
}

constexpr char kFadePython[] = R"(# Example showing how to fade a group of LEDs
# proxy stands for the service HBLeds
name = "LeftEye"
intensity = 0.5
duration = 1.0
proxy.fade(name, intensity, duration)
)";
constexpr char kFadeCpp[] = R"(// Example showing how to fade a group of LEDs
// proxy stands for the service HBLeds
const std::string name = "LeftEye";
const float intensity = 0.5f;
const float duration = 1.0f;
proxy.call("fade", name, intensity, duration);
)";
constexpr char kListGroupPython[] = R"(# Example showing how to list the devices of a group
# proxy stands for the service HBLeds
for device in proxy.listGroup("AllLeds"):
    print(device)
)";
constexpr char kListGroupCpp[] = R"(// Example showing how to get the list of all LEDs
// proxy stands for the service HBLeds
const std::string name = "AllLeds";
const auto devices = proxy.call<std::vector<std::string>>("listGroup", name);
)";
constexpr char kListGroupsPython[] = R"(# Example showing how to list the groups of LEDs
# proxy stands for the service HBLeds
for group in proxy.listGroups():
    print(group)
)";
constexpr char kListGroupsCpp[] = R"(// Example showing how to get the list of all groups
// proxy stands for the service HBLeds
const auto groups = proxy.call<std::vector<std::string>>("listGroups");
)";
constexpr char kOffPython[] = R"(# Example showing how to switch off a group of LEDs
# proxy stands for the service HBLeds
name = "FaceLeds"
proxy.off(name)
)";
constexpr char kOffCpp[] = R"(// Example showing how to switch off a group of LEDs
// proxy stands for the service HBLeds
const std::string name = "FaceLeds";
proxy.call("off", name);
)";
constexpr char kOnPython[] = R"(# Example showing how to switch on a group of LEDs
# proxy stands for the service HBLeds
name = "FaceLeds"
proxy.on(name)
)";
constexpr char kOnCpp[] = R"(// Example showing how to switch on a group of LEDs
// proxy stands for the service HBLeds
const std::string name = "FaceLeds";
proxy.call("on", name);
)";
constexpr char kRastaPython[] = R"(# Example showing how to launch a one-second rasta animation
# proxy stands for the service HBLeds
duration = 1.0
proxy.rasta(duration)
)";
constexpr char kRastaCpp[] = R"(// Example showing how to launch a one-second rasta animation
// proxy stands for the service HBLeds
const float duration = 1.0f;
proxy.call("rasta", duration);
)";

}  // namespace

const char* HBLeds::MethodTable::description() {
  return "This module allows you to control VANTO's LEDs. It provides simple ways of setting or "
         "fading the intensity of single LEDs and groups of LEDs. \n"
         "Groups of LEDs typically include face LEDs, ear LEDs etc. It is also possible to control "
         "each LED separately (for example, each of the 8 LEDs in one VANTO's eyes).\n"
         "There are three primary colors of LEDs available - red, green and blue, so it is "
         "possible to combine them to obtain different colors. The ears contain blue LEDs only.\n"
         "It is possible to control the LED's intensity (between 0 and 100%).";
}

std::vector<HBLeds::MethodTable::Row> HBLeds::MethodTable::rows() {
  using Text = const std::string&;
  using Number = const float&;
  return {
      {.name = "createGroup",
       .description = "Makes a group name for ease of setting multiple LEDs.",
       .params = {{"groupName", "The name of the group."},
                  {"ledNames", "A vector of the names of the LEDs in the group."}},
       .bind = advertised(&HBLeds::createGroup)},
      {.name = "earLedsSetAngle",
       .description = "An animation to show a direction with the ears.",
       .params = {{"degrees",
                   "The angle you want to show in degrees (int). 0 is up, 90 is forwards, 180 is "
                   "down and 270 is back."},
                  {"duration", "The duration in seconds of the animation."},
                  {"leaveOnAtEnd", "If true the last led is left on at the end of the animation."}},
       .bind = advertised(&HBLeds::earLedsSetAngle)},
      {.name = "fade",
       .description = "Sets the intensity of a LED or Group of LEDs within a given time.",
       .params = {{"name", kName},
                  {"intensity", kIntensity},
                  {"duration", "The duration of the fade in seconds"}},
       .examples = {{"python", kFadePython}, {"c++", kFadeCpp}},
       .bind = advertised(&HBLeds::fade)},
      {.name = "fadeListRGB",
       .description = "Chain a list of color for a device, as the motion.doMove command.",
       .params = {{"name", kName},
                  {"rgbList", "List of RGB led value, RGB as seen in hexa-decimal: 0x00RRGGBB."},
                  {"timeList", "List of time to go to given intensity."}},
       .bind = advertised(&HBLeds::fadeListRGB)},
      {.name = "fadeRGB",
       .description = kFadeRgb,
       .params = channelParams(),
       .bind = overload<Text, Number, Number, Number, Number>(&HBLeds::fadeRGB)},
      {.name = "fadeRGB",
       .description = kFadeRgb,
       .params = {{"name", kName},
                  {"colorName",
                   R"(the name of the color (supported colors: "white", "red", "green", "blue", )"
                   R"("yellow", "magenta", "cyan"))"},
                  {"duration", kFadeTime}},
       .bind = overload<Text, Text, Number>(&HBLeds::fadeRGB)},
      {.name = "fadeRGB",
       .description = kFadeRgb,
       .params = {{"name", kName}, {"rgb", kRgb}, {"duration", kFadeTime}},
       .bind = overload<Text, const int&, Number>(&HBLeds::fadeRGB)},
      {.name = "_fadeRGB",
       .description = "Sets the color of an RGB led. This private method allows to use ChestLeds.",
       .params = channelParams(),
       .bind = overload(&HBLeds::_fadeRGB)},
      {.name = "reset",
       .description = "Resets the state of the leds to default (for ex, eye LEDs are white and "
                      "fully on by default).",
       .params = {{"name",
                   R"(The name of the LED or Group (for now, only "AllLeds" are implemented).)"}},
       .bind = advertised(&HBLeds::reset)},
      {.name = "_setIntensityRatio",
       .description = "Sets an intensity ratio for the leds. If the leds are asked to be set to a "
                      "specific intensity, the real intensity applied on the leds will be the "
                      "specific intensity multiplied by this ratio.",
       .params = {{"name", kName}, {"intensity", "The intensity ratio between 0.6 and 1."}},
       .bind = advertised(&HBLeds::_setIntensityRatio)},
      {.name = "getIntensity",
       .description = "Gets the intensity of a LED or device",
       .params = {{"name", kName}},
       .returns = {{"intensity", "The intensity of the LED or Group."}},
       .bind = advertised(&HBLeds::getIntensity)},
      {.name = "listLEDs",
       .description = "Lists the short LED names.",
       .returns = {{"ledNames", "A vector of LED names."}},
       .bind = advertised(&HBLeds::listLEDs)},
      {.name = "listLED",
       .description = "Lists the devices aliased by a short LED name.",
       .params = {{"name", "The name of the LED to list"}},
       .returns = {{"deviceNames", "A vector of device names."}},
       .bind = advertised(&HBLeds::listLED)},
      {.name = "listGroup",
       .description = "Lists the devices in the group.",
       .params = {{"groupName", "The name of the Group."}},
       .returns = {{"deviceNames", "A vector of string device names."}},
       .examples = {{"python", kListGroupPython}, {"c++", kListGroupCpp}},
       .bind = advertised(&HBLeds::listGroup)},
      {.name = "listGroups",
       .description = "Lists available group names.",
       .returns = {{"groupNames", "A vector of group names."}},
       .examples = {{"python", kListGroupsPython}, {"c++", kListGroupsCpp}},
       .bind = advertised(&HBLeds::listGroups)},
      {.name = "off",
       .description = "Switch to a minimum intensity a LED or Group of LEDs.",
       .params = {{"name", kName}},
       .examples = {{"python", kOffPython}, {"c++", kOffCpp}},
       .bind = advertised(&HBLeds::off)},
      {.name = "on",
       .description = "Switch to a maximum intensity a LED or Group of LEDs.",
       .params = {{"name", kName}},
       .examples = {{"python", kOnPython}, {"c++", kOnCpp}},
       .bind = advertised(&HBLeds::on)},
      {.name = "rasta",
       .description = "Launch a green/yellow/red rasta animation on all body.",
       .params = {{"duration", kAnimationTime}},
       .examples = {{"python", kRastaPython}, {"c++", kRastaCpp}},
       .bind = advertised(&HBLeds::rasta)},
      {.name = "rotateEyes",
       .description = "Launch a rotation using the leds of the eyes.",
       .params = {{"rgb", "the RGB value led, RGB as seen in hexa-decimal: 0x00RRGGBB."},
                  {"timeForRotation", "Approximate time to make one turn."},
                  {"totalDuration", kAnimationTime}},
       .bind = advertised(&HBLeds::rotateEyes)},
      {.name = "randomEyes",
       .description = "Launch a random animation in eyes",
       .params = {{"duration", kAnimationTime}},
       .bind = advertised(&HBLeds::randomEyes)},
      {.name = "setIntensity",
       .description = "Sets the intensity of a LED or Group of LEDs.",
       .params = {{"name", kName}, {"intensity", kIntensity}},
       .bind = advertised(&HBLeds::setIntensity)},
      {.name = "_blink",
       .description = "Make the eyes blink once.",
       .bind = overload(&HBLeds::blink)},
      {.name = "_blink",
       .description = "Make the eyes blink once with a eyeshadow color.",
       .bind = overload<const int&>(&HBLeds::blink)},
      {.name = "_setAnyLedIntensity",
       .description = "Sets the intensity of a LED or Group of LEDs (even chest LED).",
       .params = {{"name", kName}, {"intensity", kIntensity}},
       .bind = advertised(&HBLeds::setAnyLedIntensity)},
      {.name = "_startPassiveBlinking",
       .description = "Start passive blinking.",
       .bind = overload(&HBLeds::startPassiveBlinking)},
      {.name = "_startPassiveBlinking",
       .description = "Start passive blinking with a eyeshadow color.",
       .params = {{"eyeShadow", kEyeShadow}},
       .bind = overload<const int&>(&HBLeds::startPassiveBlinking)},
      {.name = "_stopPassiveBlinking",
       .description = "Stop passive blinking.",
       .bind = advertised(&HBLeds::stopPassiveBlinking)},
      // Documents an argument that the operation does not have: intended.
      {.name = "_blinkWithShadow",
       .description = "Blink with a shadow.",
       .params = {{"eyeShadow", kEyeShadow}},
       .bind = advertised(&HBLeds::blinkWithShadow)},
      {.name = "_setTimeBetweenTwoBlinks",
       .description = "Set values for minimum and maximum time waited between two passive blinks.",
       .params = {{"min", "The minimum (should be >= 0)"},
                  {"max", "The maximum (should be >= min)"}},
       .bind = advertised(&HBLeds::setTimeBetweenTwoBlinks)},
      {.name = "_startEyesRotationASR",
       .description = "Start blue eyes rotation animation for ASR Signs&Feedback",
       .bind = advertisedOn(&HBLeds::fEyesRotationASR, &EyesRotationASR::start)},
      {.name = "_stopEyesRotationASR",
       .description = "Stop blue eyes rotation animation for ASR Signs&Feedback",
       .bind = advertisedOn(&HBLeds::fEyesRotationASR, &EyesRotationASR::stop)},
      {.name = "_setEnabledEyesRotationASR",
       .description = "Enable/Disable blue eyes rotation animation for ASR Signs&Feedback",
       .bind = advertisedOn(&HBLeds::fEyesRotationASR, &EyesRotationASR::setEnabled)},
      {.name = "_startEarsRotationASR",
       .description = "Start ears rotation animation for ASR Signs&Feedback",
       .bind = advertisedOn(&HBLeds::fEarsRotationASR, &EarsRotationASR::start)},
      {.name = "_stopEarsRotationASR",
       .description = "Stop ears rotation animation for ASR Signs&Feedback",
       .bind = advertisedOn(&HBLeds::fEarsRotationASR, &EarsRotationASR::stop)},
      {.name = "_setEnabledEarsRotationASR",
       .description = "Enable/Disable ears rotation animation for ASR Signs&Feedback",
       .bind = advertisedOn(&HBLeds::fEarsRotationASR, &EarsRotationASR::setEnabled)},
  };
}

void HBLeds::xPublishMethods() {
  setModuleDescription(MethodTable::description());
  for (const auto& row : MethodTable::rows()) {
    functionName(row.name, "HBLeds", row.description);
    for (const auto& param : row.params) addParam(param.name, param.text);
    if (row.returns) setReturn(row.returns->name, row.returns->text);
    for (const auto& example : row.examples) addMethodExample(example.name, example.text);
    row.bind(*this);
  }
}

}  // namespace HB
