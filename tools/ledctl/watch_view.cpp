#include "tools/ledctl/watch_view.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "tools/ledctl/print.h"

namespace ledctl {

namespace {

constexpr std::string_view kPrefix = "Device/SubDeviceList/";
constexpr std::string_view kEnding = "/Actuator/Value";
constexpr std::array<std::string_view, 3> kColours{"Red", "Green", "Blue"};

std::string shortName(std::string_view key) {
  if (key.starts_with(kPrefix)) key.remove_prefix(kPrefix.size());
  if (key.ends_with(kEnding)) key.remove_suffix(kEnding.size());
  return std::string(key);
}

std::string_view leadingDigits(std::string_view text) {
  return text.substr(0, std::min(text.find_first_not_of("0123456789"), text.size()));
}

int byteOf(const std::optional<float>& channel) {
  const float value = channel.value_or(0.0F);
  return std::isnan(value) ? 0 : static_cast<int>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255));
}

template <class Channels>
std::string swatch(const Channels& channels) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "\x1b[48;2;%d;%d;%dm    \x1b[0m", byteOf(channels[0]),
                byteOf(channels[1]), byteOf(channels[2]));
  return text.data();
}

template <class Channels>
std::string figures(const Channels& channels) {
  std::string made;
  for (const auto& channel : channels) {
    std::array<char, 32> text{" -    "};
    if (channel) std::snprintf(text.data(), text.size(), "%5.3f ", static_cast<double>(*channel));
    made += text.data();
  }
  return made;
}

}  // namespace

void LineView::show(const remote::WatchBatch& batch) {
  for (const auto& [key, value] : batch.items) {
    if (fJson) {
      fOut << R"({"key":)" << jsonText(std::string_view(key)) << R"(,"value":)" << jsonText(value)
           << "}\n";
    } else {
      fOut << key << ' '
           << (value.getType() == HB::HBValue::TypeList ? jsonText(value) : plainText(value))
           << '\n';
    }
  }
  fOut.flush();
}

std::optional<LedKey> ledOf(std::string_view key) {
  if (!key.ends_with(kEnding)) return std::nullopt;
  const std::string name = shortName(key);
  for (std::size_t start = 0; start < name.size();) {
    const std::size_t end = std::min(name.find('/', start), name.size());
    const auto colour =
        std::ranges::find(kColours, std::string_view(name).substr(start, end - start));
    if (colour != kColours.end()) {
      std::string led = name;
      // With one of the two slashes around it.
      led.erase(end < name.size() ? start : start - std::min<std::size_t>(start, 1),
                end - start + 1);
      return LedKey{std::move(led), static_cast<int>(colour - kColours.begin())};
    }
    start = end + 1;
  }
  return std::nullopt;
}

bool NaturalOrder::operator()(std::string_view a, std::string_view b) const {
  const std::string_view wholeA = a;
  const std::string_view wholeB = b;
  while (!a.empty() && !b.empty()) {
    const std::string_view digitsA = leadingDigits(a);
    const std::string_view digitsB = leadingDigits(b);
    if (!digitsA.empty() && !digitsB.empty()) {
      if (digitsA.size() != digitsB.size()) return digitsA.size() < digitsB.size();
      if (digitsA != digitsB) return digitsA < digitsB;
      a.remove_prefix(digitsA.size());
      b.remove_prefix(digitsB.size());
    } else {
      if (a.front() != b.front()) return a.front() < b.front();
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  return a.size() != b.size() ? a.size() < b.size() : wholeA < wholeB;
}

void ScreenView::show(const remote::WatchBatch& batch) {
  for (const auto& [key, value] : batch.items) xUpdate(key, value);
  xDraw();
}

void ScreenView::xUpdate(const std::string& key, const HB::HBValue& value) {
  const auto led = ledOf(key);
  if (led && value.getType() == HB::HBValue::TypeFloat) {
    fRows[led->led].channels[led->channel] = value.toFloat();
  } else {
    fRows[shortName(key)].text = harmless(value.toText(60));
  }
}

void ScreenView::xDraw() {
  const Size size = fSize();
  const int room = std::max(1, size.rows - 2);
  std::string frame;
  if (fDrawnLines > 0) frame = "\x1b[" + std::to_string(fDrawnLines) + "A";
  int lines = 0;
  for (const auto& [name, row] : fRows) {
    if (lines == room) break;
    ++lines;
    const auto width = static_cast<std::size_t>(std::max(8, size.columns - 26));
    const std::string label = harmless(name).substr(0, width);
    frame += '\r' +
             (row.text.empty() ? swatch(row.channels) + ' ' + figures(row.channels) + ' '
                               : std::string()) +
             label;
    if (!row.text.empty()) frame += ' ' + row.text;
    frame += "\x1b[K\n";
  }
  if (const auto hidden = fRows.size() - static_cast<std::size_t>(lines); hidden > 0) {
    frame += "\r(" + std::to_string(hidden) + " more: narrow the pattern)\x1b[K\n";
    ++lines;
  }
  fDrawnLines = lines;
  fOut << frame << "\x1b[J" << std::flush;
}

}  // namespace ledctl
