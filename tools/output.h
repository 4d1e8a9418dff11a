#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>

#include "tools/companion.h"
#include "tools/pixel_format.h"
#include "tools/progress.h"

// Makes a file that appears whole or not at all, and replaces a link instead of writing through it.
// Devices and pipes are written to as they are.
template <typename Fill>
void writeFile(const std::string& path, const Fill& fill) {
  static std::string unfinished;  // no end of the program leaves it behind
  struct stat there = {};
  const bool replaces = lstat(path.c_str(), &there) != 0 || S_ISREG(there.st_mode) ||
                        (S_ISLNK(there.st_mode) && path.rfind("/dev/", 0) != 0);
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  unfinished = replaces ? folder + "unfinished." + std::to_string(now) : "";
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      replaces ? std::fopen(unfinished.c_str(), "wbx") : std::fopen(path.c_str(), "wb"),
      std::fclose);
  require(file != nullptr, path);
  const std::unique_ptr<const char, int (*)(const char*)> removed(unfinished.c_str(), unlink);
  for (const int ending : {SIGHUP, SIGINT, SIGTERM}) {
    if (std::signal(ending, SIG_IGN) != SIG_IGN) {
      std::signal(ending, [](int number) {
        unlink(unfinished.c_str());
        _exit(128 + number);
      });
    }
  }
  fill(file.get());
  require(std::fclose(file.release()) == 0, path);
  require(!replaces || std::rename(unfinished.c_str(), path.c_str()) == 0, path);
}

// planeshow takes lengths that 32 bits hold.
inline bool fitsRawFile(const PixelFormat& format, std::int64_t width, std::int64_t height) {
  return static_cast<std::uint64_t>(width * height) <= UINT32_MAX / format.bytes;
}

// Writes the pixels that pixelAt(x, y) gives, row by row and without a header.
template <typename PixelAt>
void writeRawFile(const std::string& path, const PixelFormat& format, std::int64_t width,
                  std::int64_t height, const PixelAt& pixelAt) {
  Progress progress{PROGRAM, "writing", static_cast<std::uint64_t>(width * height)};
  std::array<std::uint8_t, 65536> piece = {};
  std::size_t filled = 0;
  writeFile(path, [&](std::FILE* file) {
    for (std::int64_t y = 0; y < height; ++y) {
      for (std::int64_t x = 0; x < width; ++x) {
        if (filled > piece.size() - format.bytes) {
          require(std::fwrite(piece.data(), filled, 1, file) == 1, path);
          filled = 0;
          progress.at(static_cast<std::uint64_t>(y * width + x));
        }
        encode(pixelAt(x, y), format, &piece[filled]);
        filled += format.bytes;
      }
    }
    require(std::fwrite(piece.data(), filled, 1, file) == 1, path);
  });
}
