// Composes what the simulated display driver was given into a PNG: the screen as a person would see
// it, channel 0 under channel 1.

#include <png.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "simulator/layer.h"

namespace {

struct Pixel {
  std::uint8_t red, green, blue, alpha;
};

struct Screen {
  std::int32_t width = 1920;
  std::int32_t height = 1080;
  std::vector<std::uint8_t> rgb;

  void blend(std::int64_t x, std::int64_t y, Pixel pixel) {
    std::uint8_t* const at = &rgb[static_cast<std::size_t>((y * width + x) * 3)];
    const std::uint8_t colour[] = {pixel.red, pixel.green, pixel.blue};
    for (int i = 0; i < 3; ++i) {
      const int sum = colour[i] * pixel.alpha + at[i] * (255 - pixel.alpha);
      at[i] = static_cast<std::uint8_t>((sum + 127) / 255);
    }
  }
};

constexpr std::streamoff kMostBytes = std::streamoff{1} << 32;  // no image is longer

int complain(const std::string& what) {
  std::fprintf(stderr, "planeshow-screen: %s\n", what.c_str());
  return 1;
}

// A file's bytes; none if it can't be read.
std::vector<std::uint8_t> contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const std::streamoff length = file.tellg();
  std::vector<std::uint8_t> bytes(
      length > 0 && length < kMostBytes ? static_cast<std::size_t>(length) : 0);
  file.seekg(0);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

struct Format {
  const char* name;
  std::uint64_t bytes;  // per pixel
};
constexpr Format kFormats[] = {{"ARGB8888", 4}, {"RGB888", 3}, {"RGB565", 2}};

// Little-endian fourcc order: the name's last letter comes first in memory.
Pixel decode(const std::uint8_t* from, std::uint64_t bytes) {
  if (bytes == 2) {
    const int value = from[0] | from[1] << 8;
    const int red = value >> 11;
    const int green = value >> 5 & 63;
    const int blue = value & 31;
    return {static_cast<std::uint8_t>(red << 3 | red >> 2),
            static_cast<std::uint8_t>(green << 2 | green >> 4),
            static_cast<std::uint8_t>(blue << 3 | blue >> 2), 255};
  }
  return {from[2], from[1], from[0], bytes == 4 ? from[3] : std::uint8_t{255}};
}

// What stands for pixels that nobody here can decode.
Pixel hatch(std::int64_t x, std::int64_t y) {
  return (x + y) % 16 < 4 ? Pixel{255, 160, 0, 255} : Pixel{40, 40, 40, 255};
}

void drawChannel(unsigned channel, const std::string& folder, Screen& screen) {
  const auto file = contents(sim::channelFile(folder, channel, "layer"));
  const std::string name = "channel " + std::to_string(channel) + ": ";
  sim::Layer layer = {};
  struct stat status = {};
  if (file.empty() || stat(sim::channelFile(folder, channel, "hidden").c_str(), &status) == 0) {
    return;
  }
  if (file.size() < sizeof layer) {
    complain(name + "its layer record is damaged, nothing is drawn.");
    return;
  }
  std::memcpy(&layer, file.data(), sizeof layer);
  const std::uint8_t* const pixels = file.data() + sizeof layer;
  const std::uint64_t found = file.size() - sizeof layer;

  const std::int64_t width = layer.buf_width;
  const std::int64_t height = layer.buf_height;
  const bool known = layer.format >= 0 && layer.format < 3;
  const Format format = known ? kFormats[layer.format] : Format{"", 0};
  const bool opaque = layer.compress != 0 || !known;
  const auto area = width > 0 && height > 0 ? static_cast<std::uint64_t>(width * height) : 0;
  const std::uint64_t needed = area * format.bytes;
  if (layer.compress == 0 && !known) {
    complain(name + "format " + std::to_string(layer.format) +
             " is unknown, so the length needed is too; the buffer has " + std::to_string(found) +
             " bytes, drawn as a hatched box.");
  } else if (!opaque && found < needed) {
    complain(name + format.name + " of " + std::to_string(width) + "x" + std::to_string(height) +
             " needs " + std::to_string(needed) + " bytes, the buffer has " +
             std::to_string(found) + ": what is missing is not drawn.");
  }

  const std::int64_t windowX = layer.window_x;
  const std::int64_t windowY = layer.window_y;
  const std::int64_t windowW = layer.window_w;
  const std::int64_t windowH = layer.window_h;
  const auto right = std::min<std::int64_t>(windowX + windowW, screen.width);
  const auto bottom = std::min<std::int64_t>(windowY + windowH, screen.height);
  for (std::int64_t y = std::max<std::int64_t>(windowY, 0); y < bottom; ++y) {
    const std::int64_t row = layer.crop_y + (y - windowY) * layer.crop_h / windowH;
    for (std::int64_t x = std::max<std::int64_t>(windowX, 0); x < right; ++x) {
      if (opaque) {
        screen.blend(x, y, hatch(x, y));
        continue;
      }
      const std::int64_t column = layer.crop_x + (x - windowX) * layer.crop_w / windowW;
      if (column < 0 || row < 0 || column >= width || row >= height) {
        continue;
      }
      const std::uint64_t at = static_cast<std::uint64_t>(row * width + column) * format.bytes;
      if (at + format.bytes <= found) {
        screen.blend(x, y, decode(pixels + at, format.bytes));
      }
    }
  }
}

bool parseSize(const char* text, Screen& screen) {
  screen.width = 0;
  screen.height = 0;
  const char* const end = text + std::strlen(text);
  const char* const by = std::from_chars(text, end, screen.width).ptr;
  return by < end && *by == 'x' && std::from_chars(by + 1, end, screen.height).ptr == end &&
         screen.width > 0 && screen.height > 0 && screen.width <= 8192 && screen.height <= 8192;
}

int run(int argc, char** argv) {
  Screen screen;
  const bool sized = argc == 5 && std::string(argv[1]) == "--size";
  if (argc != 3 && !sized) {
    return complain("usage: planeshow-screen [--size WIDTHxHEIGHT] STATE_FOLDER PICTURE.png");
  }
  if (sized && !parseSize(argv[2], screen)) {
    return complain(std::string(argv[2]) + ": the size is WIDTHxHEIGHT, each from 1 to 8192");
  }
  const std::string folder = argv[argc - 2];
  const std::string path = argv[argc - 1];
  struct stat status = {};
  if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    return complain(folder + ": no such folder");
  }
  screen.rgb.resize(static_cast<std::size_t>(screen.width) *
                    static_cast<std::size_t>(screen.height) * 3);
  for (unsigned channel = 0; channel < sim::kChannels; ++channel) {
    drawChannel(channel, folder, screen);
  }

  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(screen.width);
  image.height = static_cast<png_uint_32>(screen.height);
  image.format = PNG_FORMAT_RGB;
  // Not png_image_write_to_file: on a failure it removes the file, be it a device.
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    return complain(path + ": " + std::strerror(errno));
  }
  if (png_image_write_to_stdio(&image, file, 0, screen.rgb.data(), 0, nullptr) == 0) {
    std::fclose(file);
    return complain(path + ": " + image.message);
  }
  if (std::fclose(file) != 0) {
    return complain(path + ": " + std::strerror(errno));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    return complain("there is not enough memory for this size");
  }
}
