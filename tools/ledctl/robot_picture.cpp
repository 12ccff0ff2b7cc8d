#include "tools/ledctl/robot_picture.h"

#include <algorithm>
#include <cmath>

#include "framework/sim/model.h"
#include "tools/ledctl/print.h"

namespace ledctl {

namespace {

using Rgb = std::array<float, 3>;

/// What a channel of each colour looks like, in the order of LEDActuator::Color.
constexpr std::array<Rgb, 6> kShares{
    {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}, {1, 0.75F, 0}, {0.4F, 0, 0}}};
constexpr float kOff = 0.004F;  // less is what no screen can show

float brightest(const Rgb& color) { return std::ranges::max(color); }

/// Perceived brightness grows slower than the LED's power: the usual gamma of screens.
int screenByte(float power) {
  return static_cast<int>(std::lround(255 * std::pow(power, 1 / 2.2F)));
}

/// The nearest of the 6 x 6 x 6 colours of the table.
int tableColor(const Rgb& color) {
  const auto level = [](float power) {
    const int byte = screenByte(power);
    return byte < 48 ? 0 : byte < 115 ? 1 : (byte - 35) / 40;
  };
  return 16 + 36 * level(color[0]) + 6 * level(color[1]) + level(color[2]);
}

/// The colour of what is written next; "" where the terminal has none.
std::string pen(const Rgb& color, const Palette& palette) {
  if (palette.colors == Palette::Colors::kNone) return "";
  if (brightest(color) < kOff) return "\x1b[90m";
  if (palette.colors == Palette::Colors::kTable) {
    return "\x1b[38;5;" + std::to_string(tableColor(color)) + 'm';
  }
  std::string made = "\x1b[38;2";
  for (const float channel : color) made += ';' + std::to_string(screenByte(channel));
  return made + 'm';
}

/// Without colours, the brighter the fuller.
std::string_view dot(const Rgb& color, const Palette& palette) {
  constexpr std::array<std::string_view, 4> kRound{"·", "○", "◍", "●"};
  constexpr std::array<std::string_view, 4> kAscii{".", "o", "O", "@"};
  const float power = brightest(color);
  std::size_t level = power < kOff ? 0 : power < 0.34F ? 1 : power < 0.67F ? 2 : 3;
  if (level > 0 && palette.colors != Palette::Colors::kNone) level = 3;
  return (palette.isUtf8 ? kRound : kAscii)[level];
}

std::string clipped(const std::string& text, int columns) {
  return text.substr(0, static_cast<std::size_t>(std::max(0, columns)));
}

/// A line of dots, one to a cell; cells without one are spaces.
std::string dotLine(const std::vector<const Rgb*>& cells, const Palette& palette) {
  std::string line;
  std::string held;  // the colour that the terminal writes in
  std::size_t spaces = 0;
  for (const Rgb* const cell : cells) {
    if (cell == nullptr) {
      ++spaces;
      continue;
    }
    line.append(spaces, ' ');
    spaces = 0;
    if (std::string wanted = pen(*cell, palette); wanted != held) {
      line += wanted;
      held = std::move(wanted);
    }
    line += dot(*cell, palette);
  }
  if (!held.empty()) line += "\x1b[0m";
  return line;
}

Lamp lampOf(const Sim::LEDActuator& led) {
  const auto& shape = led.shape();
  const auto& position = *led.position();
  // A piece of a ring is a dot of it.
  if (shape.kind == Sim::Shape::Kind::kSector) return {position.x, position.y, 0, 0, true};
  const bool isRound = shape.kind == Sim::Shape::Kind::kCircle;
  return {position.x, position.y, shape.width, isRound ? shape.width : shape.height, isRound};
}

}  // namespace

RobotPicture::RobotPicture(std::string_view modelXml) {
  const Sim::Model model(modelXml);
  fName = model.prettyName(0);
  std::map<std::pair<double, double>, std::size_t> lightAt;
  std::vector<Light> elsewhere;
  for (const auto* led : model.ledActuators()) {
    const std::string key = "Device/SubDeviceList/" + led->name() + "/Actuator/Value";
    if (!fChannelOfKey.emplace(key, fChannels.size()).second) continue;
    const std::size_t channel = fChannels.size();
    fChannels.push_back({kShares.at(static_cast<std::size_t>(led->color())), 0});
    if (!led->position()) {
      elsewhere.push_back({{channel}, false});
      continue;
    }
    const auto [place, isNew] =
        lightAt.try_emplace({led->position()->x, led->position()->y}, fLights.size());
    if (isNew) {
      fLights.push_back({{}, true});
      fLamps.push_back(lampOf(*led));
    }
    fLights[place->second].channels.push_back(channel);
  }
  fLights.insert(fLights.end(), elsewhere.begin(), elsewhere.end());
}

void RobotPicture::set(const std::string& key, float value) {
  const auto found = fChannelOfKey.find(key);
  if (found == fChannelOfKey.end()) return;
  fChannels[found->second].value = std::isnan(value) ? 0 : std::clamp(value, 0.0F, 1.0F);
}

RobotPicture::Rgb RobotPicture::xColor(const Light& light) const {
  Rgb total{};
  for (const auto index : light.channels) {
    const auto& channel = fChannels[index];
    for (std::size_t i = 0; i < total.size(); ++i) total[i] += channel.share[i] * channel.value;
  }
  for (auto& part : total) part = std::min(1.0F, part);
  return total;
}

std::string RobotPicture::xStrip(int columns, const Palette& palette) const {
  constexpr std::string_view kLabel = "without a place: ";
  if (columns <= static_cast<int>(kLabel.size())) return clipped(std::string(kLabel), columns);
  const auto room = static_cast<std::size_t>(columns) - kLabel.size();
  std::vector<Rgb> colors;
  for (std::size_t i = fLamps.size(); i < fLights.size() && colors.size() < room; ++i) {
    colors.push_back(xColor(fLights[i]));
  }
  std::vector<const Rgb*> cells;
  cells.reserve(colors.size());
  for (const auto& color : colors) cells.push_back(&color);
  return std::string(kLabel) + dotLine(cells, palette);
}

std::vector<std::string> RobotPicture::lines(int rows, int columns, const Palette& palette) const {
  const bool hasStrip = fLights.size() > fLamps.size() && rows > 1;
  const int height = std::max(1, rows - (hasStrip ? 1 : 0));
  const int width = std::max(1, columns);
  std::vector<Rgb> colors;
  colors.reserve(fLamps.size());
  for (std::size_t i = 0; i < fLamps.size(); ++i) colors.push_back(xColor(fLights[i]));
  std::vector<std::vector<const Rgb*>> cells(static_cast<std::size_t>(height));
  for (auto& line : cells) line.resize(static_cast<std::size_t>(width));
  const auto places = layOut(fLamps, height, width);
  for (std::size_t i = 0; i < places.size(); ++i) {
    for (const auto& place : places[i]) {
      const Rgb*& cell =
          cells[static_cast<std::size_t>(place.row)][static_cast<std::size_t>(place.column)];
      // Of LEDs that share a cell the brightest is seen.
      if (cell == nullptr || brightest(*cell) < brightest(colors[i])) cell = &colors[i];
    }
  }
  std::vector<std::string> made;
  for (const auto& line : cells) made.push_back(dotLine(line, palette));
  if (hasStrip) made.push_back(xStrip(columns, palette));
  return made;
}

}  // namespace ledctl
