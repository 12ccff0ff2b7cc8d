// A colour as the LED commands pass it around. Plain value.
#pragma once

namespace HB {

/// Where the colours end that 0x00RRGGBB can tell, read as unsigned.
inline constexpr unsigned kColorEnd = 0x1000000;

/// Three channel intensities, each meant to lie in 0..1. That is not enforced: the motion service
/// clamps.
struct Color {
  /// 0x00RRGGBB, each byte divided by 255. Bits above the lowest 24 are ignored.
  constexpr explicit Color(int rgb) noexcept
      : r(channel(rgb >> 16)), g(channel(rgb >> 8)), b(channel(rgb)) {}
  constexpr Color(float red, float green, float blue) noexcept : r(red), g(green), b(blue) {}

  float r;
  float g;
  float b;

 private:
  static constexpr float channel(int bits) noexcept {
    return static_cast<float>(bits & 0xFF) / 255.0F;
  }
};

}  // namespace HB
