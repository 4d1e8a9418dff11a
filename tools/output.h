#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <tuple>
#include <utility>

#include "tools/companion.h"
#include "tools/pixel_format.h"

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
using Fill = std::function<void(std::FILE*)>;

// Fills the file and closes it. If that fails, throws the cause, with the path.
inline void fillFile(File file, const std::string& path, const Fill& fill) {
  require(file != nullptr, path);
  fill(file.get());
  require(std::fclose(file.release()) == 0, path);
}

// Replaces a file atomically and keeps its permissions, and if told so its owner. A link is
// replaced, not followed.
inline void replaceFile(const std::string& path, const Fill& fill, bool keepOwner = false) {
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
  File file(std::fopen(unfinished.c_str(), "wbx"), std::fclose);
  require(file != nullptr, path);
  try {
    struct stat there = {};
    if (stat(path.c_str(), &there) == 0) {
      if (keepOwner) {  // as far as it is permitted
        std::ignore = fchown(fileno(file.get()), there.st_uid, there.st_gid);
      }
      fchmod(fileno(file.get()), there.st_mode & 0777);
    }
    fillFile(std::move(file), path, fill);
    require(std::rename(unfinished.c_str(), path.c_str()) == 0, path);
  } catch (...) {
    unlink(unfinished.c_str());
    throw;
  }
}

inline bool sameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

inline bool hasOpen(int fd, const struct stat& file) {
  struct stat open = {};
  return fstat(fd, &open) == 0 && sameFile(file, open);
}

// Opens a file that must not be replaced. Standard output's file is not opened a second time, as
// other programs may write to it before and afterwards: only a duplicate continues where they are.
inline File openDirectly(const std::string& path, const struct stat& there) {
  for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
    if (hasOpen(fd, there) && (fcntl(fd, F_GETFL) & O_ACCMODE) != O_RDONLY) {
      const int own = dup(fd);
      require(own != -1, path);
      return {fdopen(own, "wb"), std::fclose};
    }
  }
  // What a regular file has already stays.
  return {std::fopen(path.c_str(), S_ISREG(there.st_mode) ? "ab" : "wb"), std::fclose};
}

// Makes or replaces a regular file, or replaces a link to one. Writes directly to anything else,
// such as a device or a pipe, and to the file of standard input, output or error: its name may be
// /dev/stdout, which must not be replaced. Returns whether a file of that name is there now.
inline bool writeFile(const std::string& path, const Fill& fill) {
  struct stat there = {};
  if (stat(path.c_str(), &there) == 0) {
    if (!S_ISREG(there.st_mode) || hasOpen(STDIN_FILENO, there) || hasOpen(STDOUT_FILENO, there) ||
        hasOpen(STDERR_FILENO, there)) {
      fillFile(openDirectly(path, there), path, fill);
      return false;
    }
    require(access(path.c_str(), W_OK) == 0, path);
  } else if (lstat(path.c_str(), &there) == 0) {
    // It may be /dev/stdout, where /proc is not mounted.
    throw std::runtime_error(path + ": this is a link to something that can't be found");
  }
  replaceFile(path, fill, /*keepOwner=*/true);
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
