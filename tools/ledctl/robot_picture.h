// A robot and its LEDs as lines of a terminal: dots where the model has them, coloured as bright as
// the memory says. Pure but for what it remembers. Not thread-safe.
#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ledctl/lamp_layout.h"

namespace ledctl {

/// What a terminal can show.
struct Palette {
  enum class Colors { kNone, kTable, kTrue };  // kTable: the 256 that are numbered
  Colors colors = Colors::kTrue;
  bool isUtf8 = true;
};

class RobotPicture {
 public:
  /// Of the model's text. Errors: `Sim::ModelError`.
  explicit RobotPicture(std::string_view modelXml);

  const std::string& robotName() const { return fName; }
  std::size_t leds() const { return fLights.size(); }
  /// Takes in a value of the memory; keys that are no LED's are ignored.
  void set(const std::string& key, float value);

  /// Exactly `rows` lines of `columns` cells at most: the picture, below it in one line the LEDs
  /// that the model gives no place. Off LEDs are dim dots.
  std::vector<std::string> lines(int rows, int columns, const Palette& palette) const;

 private:
  using Rgb = std::array<float, 3>;  // 0..1
  struct Channel {
    Rgb share{};
    float value = 0;
  };
  /// One LED: the channels at one place.
  struct Light {
    std::vector<std::size_t> channels;
    bool isPlaced = false;
  };

  Rgb xColor(const Light& light) const;
  std::string xStrip(int columns, const Palette& palette) const;

  std::string fName;
  std::map<std::string, std::size_t, std::less<>> fChannelOfKey;
  std::vector<Channel> fChannels;
  std::vector<Light> fLights;  // those with a place first
  std::vector<Lamp> fLamps;    // of the lights with a place
};

}  // namespace ledctl
