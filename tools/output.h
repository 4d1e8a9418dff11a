#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>

#include "tools/companion.h"
#include "tools/guard.h"
#include "tools/pixel_format.h"

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
using Fill = std::function<void(std::FILE*)>;

// Fills the file and closes it. If that fails, throws the cause, with the path.
inline void fillFile(File file, const std::string& path, const Fill& fill) {
  require(file != nullptr, path);
  fill(file.get());
  require(std::fclose(file.release()) == 0, path);
}

// Replaces a file atomically and keeps its permissions; a link is replaced, not followed.
inline void replaceFile(const std::string& path, const Fill& fill) {
  static std::string unfinished;  // for the signal handler
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  unfinished = path.substr(0, path.rfind('/') + 1) + "unfinished." + std::to_string(now);
  for (const int ending : {SIGHUP, SIGINT, SIGTERM}) {
    if (std::signal(ending, SIG_IGN) != SIG_IGN) {
      // Dies of the signal: only then does a shell end the loop that it runs.
      std::signal(ending, [](int number) {
        unlink(unfinished.c_str());
        std::signal(number, SIG_DFL);
        std::raise(number);
      });
    }
  }
  const Guard removed([] { unlink(unfinished.c_str()); });  // renamed before if all went well
  File file(std::fopen(unfinished.c_str(), "wbx"), std::fclose);
  struct stat there = {};
  if (file != nullptr && stat(path.c_str(), &there) == 0) {
    fchmod(fileno(file.get()), there.st_mode & 0777);
  }
  fillFile(std::move(file), path, fill);
  require(std::rename(unfinished.c_str(), path.c_str()) == 0, path);
}

inline bool sameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Whether standard input, output or error is this file. Its name may then be /dev/stdout, which
// must not be replaced.
inline bool isStandard(const struct stat& file) {
  struct stat standard[3] = {};
  return std::any_of(standard, standard + 3, [&](struct stat& open) {
    return fstat(static_cast<int>(&open - standard), &open) == 0 && sameFile(file, open);
  });
}

// Makes or replaces a regular file, or replaces a link to one. Writes directly to anything else: a
// device, a pipe, or standard output's own file. Returns whether a file of that name is there now.
inline bool writeFile(const std::string& path, const Fill& fill) {
  struct stat there = {};
  const bool exists = stat(path.c_str(), &there) == 0;
  if (exists && (!S_ISREG(there.st_mode) || isStandard(there))) {
    const char* const mode = isStandard(there) ? "ab" : "wb";  // what was written before stays
    fillFile(File(std::fopen(path.c_str(), mode), std::fclose), path, fill);
    return false;
  }
  replaceFile(path, fill);
  return true;
}

// planeshow takes only lengths that fit into 32 bits.
inline bool fitsRawFile(const PixelFormat& format, std::int64_t width, std::int64_t height) {
  return static_cast<std::uint64_t>(width * height) <= UINT32_MAX / format.bytes;
}

// Writes the pixels that pixelAt(x, y) gives, row by row and without a header. Returns whether
// there is now a file of that name.
template <typename PixelAt>
bool writeRawFile(const std::string& path, const PixelFormat& format, std::int64_t width,
                  std::int64_t height, const PixelAt& pixelAt) {
  return writeFile(path, [&](std::FILE* file) {
    std::uint8_t pixel[4] = {};
    for (std::int64_t y = 0; y < height; ++y) {
      for (std::int64_t x = 0; x < width; ++x) {
        encode(pixelAt(x, y), format, pixel);
        require(std::fwrite(pixel, format.bytes, 1, file) == 1, path);
      }
    }
  });
}
