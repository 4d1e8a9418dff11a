#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

// The pixel formats of the companions and of the simulated screen. This is not the tool's own
// table, so that a mistake in either shows as wrong colours.

// Where a component lies in a pixel, if its bytes are read as one little-endian number.
struct Bits {
  unsigned lowest, count;
};

struct PixelFormat {
  const char* name;
  std::int32_t code;  // the display driver's
  std::size_t bytes;  // per pixel
  Bits red, green, blue, alpha;
};

inline constexpr PixelFormat kPixelFormats[] = {
    {"ARGB8888", 0, 4, {16, 8}, {8, 8}, {0, 8}, {24, 8}},
    {"RGB888", 1, 3, {16, 8}, {8, 8}, {0, 8}, {}},
    {"RGB565", 2, 2, {11, 5}, {5, 6}, {0, 5}, {}},
};

inline const PixelFormat& formatNamed(std::string_view name) {
  std::string names;
  for (const PixelFormat& format : kPixelFormats) {
    if (name == format.name) {
      return format;
    }
    names += std::string(" ") + format.name;
  }
  throw std::runtime_error(std::string(name) + ": the formats are" + names);
}

struct Colour {
  std::uint8_t red, green, blue;
};

// In memory as libpng writes RGBA. The colour is not multiplied by alpha.
struct Pixel {
  Colour colour;
  std::uint8_t alpha;
};

constexpr Colour blend(Pixel over, Colour under) {
  const auto mix = [&](std::uint8_t high, std::uint8_t low) {
    return static_cast<std::uint8_t>((high * over.alpha + low * (255 - over.alpha) + 127) / 255);
  };
  return {mix(over.colour.red, under.red), mix(over.colour.green, under.green),
          mix(over.colour.blue, under.blue)};
}

// Rounds to the nearest value that the bits can hold.
constexpr std::uint32_t pack(std::uint8_t value, Bits bits) {
  return (value * ((1U << bits.count) - 1) + 127) / 255 << bits.lowest;
}

// Repeats the bits below themselves, so that the largest value becomes 255.
constexpr std::uint8_t unpack(std::uint32_t word, Bits bits) {
  std::uint32_t value = (word >> bits.lowest & ((1U << bits.count) - 1)) << (8 - bits.count);
  for (unsigned filled = bits.count; filled < 8; filled *= 2) {
    value |= value >> filled;
  }
  return static_cast<std::uint8_t>(value);
}

// A format without alpha gets the pixel as it looks on black.
inline void encode(Pixel pixel, const PixelFormat& format, std::uint8_t* to) {
  const Colour colour = format.alpha.count == 0 ? blend(pixel, {0, 0, 0}) : pixel.colour;
  const std::uint32_t word = pack(colour.red, format.red) | pack(colour.green, format.green) |
                             pack(colour.blue, format.blue) | pack(pixel.alpha, format.alpha);
  for (unsigned i = 0; i < format.bytes; ++i) {
    to[i] = static_cast<std::uint8_t>(word >> 8 * i);
  }
}

inline Pixel decode(const char* from, const PixelFormat& format) {
  std::uint32_t word = 0;
  for (unsigned i = 0; i < format.bytes; ++i) {
    word |= std::uint32_t{static_cast<std::uint8_t>(from[i])} << 8 * i;
  }
  return {{unpack(word, format.red), unpack(word, format.green), unpack(word, format.blue)},
          format.alpha.count == 0 ? std::uint8_t{255} : unpack(word, format.alpha)};
}
