// What `ledctl watch` shows: changing values as lines, or as a picture that is redrawn in place.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "remote/client/robot_client.h"

namespace ledctl {

/// Shows one batch after another. Not thread-safe.
class WatchView {
 public:
  virtual ~WatchView() = default;
  virtual void show(const remote::WatchBatch& batch) = 0;
};

/// "KEY VALUE" for each value, or {"key":...,"value":...}; flushed after each batch.
class LineView final : public WatchView {
 public:
  LineView(std::ostream& out, bool json) : fOut(out), fJson(json) {}
  void show(const remote::WatchBatch& batch) override;

 private:
  std::ostream& fOut;
  const bool fJson;
};

/// Which LED a memory key belongs to, and as which of its colours.
struct LedKey {
  std::string led;  // the key without colour, common prefix and ending: "Face/Led/Left/0Deg"
  int channel = 0;  // 0 red, 1 green, 2 blue
  bool operator==(const LedKey&) const = default;
};
/// Nothing for a key that names no colour.
std::optional<LedKey> ledOf(std::string_view key);

/// Orders names as people do: digits as numbers, "9Deg" before "45Deg".
struct NaturalOrder {
  bool operator()(std::string_view a, std::string_view b) const;
};

/// One row an LED with its colour as a true-colour swatch, one row a value of any other kind. Rows
/// beyond the terminal's height are counted instead.
class ScreenView final : public WatchView {
 public:
  struct Size {
    int rows;
    int columns;
  };
  /// `size` is asked before each drawing.
  ScreenView(std::ostream& out, std::function<Size()> size) : fOut(out), fSize(std::move(size)) {}
  void show(const remote::WatchBatch& batch) override;

 private:
  struct Row {
    std::optional<float> channels[3];
    std::string text;  // of a value that is no LED's
  };
  void xUpdate(const std::string& key, const HB::HBValue& value);
  void xDraw();

  std::ostream& fOut;
  const std::function<Size()> fSize;
  std::map<std::string, Row, NaturalOrder> fRows;
  int fDrawnLines = 0;
};

}  // namespace ledctl
