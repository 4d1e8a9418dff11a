// The simulated display driver: two OSD channels, each with the last layer it accepted.

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "devices.h"
#include "layer.h"
#include "tools/progress.h"

namespace sim {

namespace {

bool keepsState() { return !settings().state.empty(); }

// Hands on the bytes behind a descriptor in pieces, because memory for all may not be had, until
// take fails. By pread: a read would move the offset that the tool's descriptor shares.
template <typename Take>
int forEachPiece(int fd, std::uint64_t length, const Take& take) {
  std::vector<unsigned char> piece(std::size_t{256} << 10);
  int result = 0;
  for (std::uint64_t at = 0; at < length && result == 0;) {
    const auto most = static_cast<std::size_t>(std::min<std::uint64_t>(length - at, piece.size()));
    const ssize_t got = pread64(fd, piece.data(), most, static_cast<off64_t>(at));
    if (got <= 0) {
      return got < 0 ? -errno : -EIO;
    }
    at += static_cast<std::uint64_t>(got);
    result = take(piece.data(), static_cast<std::size_t>(got), at);
  }
  return result;
}

// The CRC-32 of zip and PNG, so that a person can compare it with the file's. kCrcTables[n] has the
// effect of a byte that n more follow: four at a time.
constexpr auto kCrcTables = [] {
  std::array<std::array<std::uint32_t, 256>, 4> tables = {};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (std::size_t bit = 0; bit < 32; ++bit) {
      crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
      tables[bit / 8][byte] = crc;
    }
  }
  return tables;
}();

// Goes on from the complement of the checksum of what was before.
std::uint32_t updateCrc(std::uint32_t crc, const unsigned char* bytes, std::size_t size) {
  for (; size >= 4; bytes += 4, size -= 4) {
    std::uint32_t word = 0;  // little-endian, as all that runs this is
    memcpy(&word, bytes, sizeof word);
    crc ^= word;
    crc = kCrcTables[3][crc & 255] ^ kCrcTables[2][crc >> 8 & 255] ^
          kCrcTables[1][crc >> 16 & 255] ^ kCrcTables[0][crc >> 24];
  }
  for (; size > 0; ++bytes, --size) {
    crc = crc >> 8 ^ kCrcTables[0][(crc ^ *bytes) & 255];
  }
  return crc;
}

// Keeps one file of the driver's state. It appears whole or not at all, whatever ends the process,
// and replaces a link instead of writing through it. The driver's answer does not depend on it:
// what can't be kept is said on standard error.
template <typename Fill>
bool keep(const std::string& path, const Fill& fill) {
  const int error = withDescriptors([&] {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);  // only SIGKILL can leave the unfinished file behind
    pthread_sigmask(SIG_BLOCK, &all, &before);
    std::string unfinished = path + ".XXXXXX";
    const int fd = mkostemp(unfinished.data(), O_CLOEXEC);
    int result = fd < 0 ? -errno : fill(fd);
    if (result == 0 && std::rename(unfinished.c_str(), path.c_str()) != 0) {
      result = -errno;
    }
    if (fd >= 0) {
      closeOwn(fd);
      unlink(unfinished.c_str());  // it is gone if all went well
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return result;
  });
  if (error != 0) {
    complain(path, error);
  }
  return error == 0;
}

bool keepLayer(const Layer& layer, std::uint64_t length) {
  return keep(channelFile(settings().state, layer.channel, "layer"), [&](int fd) {
    Progress progress{"planeshow-sim", "keeping the layer", length};
    // Space that is reserved at once need not be found by the rename, which would wait for it.
    fallocate64(fd, 0, 0, static_cast<off64_t>(sizeof layer + length));
    const int result = writeAll(fd, &layer, sizeof layer);
    const auto writePiece = [&](const void* bytes, std::size_t size, std::uint64_t at) {
      progress.at(at);
      return writeAll(fd, bytes, size);
    };
    return result != 0 ? result : forEachPiece(layer.dma_buf_fd, length, writePiece);
  });
}

void keepHidden(std::uint32_t channel, bool hidden) {
  const std::string path = channelFile(settings().state, channel, "hidden");
  if (hidden) {
    keep(path, [](int /*fd*/) { return 0; });
  } else if (unlink(path.c_str()) != 0 && errno != ENOENT) {
    complain(path, -errno);
  }
}

void logLayer(const Layer& layer, const std::string& buffer, std::uint64_t length) {
  std::uint32_t crc = UINT32_MAX;
  forEachPiece(layer.dma_buf_fd, length, [&](const unsigned char* bytes, std::size_t size, auto) {
    crc = updateCrc(crc, bytes, size);
    return 0;
  });
  char text[32];
  std::snprintf(text, sizeof text, ", crc32 %08x", ~crc);
  logLine("layer channel " + std::to_string(layer.channel) + ": " + buffer + text);
}

int putPlane(int /*ge2d*/, std::int32_t* words) {
  static std::int32_t layers = 0;
  Layer layer = {};
  memcpy(&layer, words, sizeof layer);
  const std::string buffer = nameOf(layer.dma_buf_fd);
  const std::uint64_t length = bufferLength(buffer);
  if (layer.channel >= kChannels) {
    return -EINVAL;
  }
  if (length == 0) {
    return fcntl(layer.dma_buf_fd, F_GETFD) == -1 ? -EBADF : -EINVAL;
  }
  layer.out_value = ++layers;
  memcpy(words, &layer, sizeof layer);
  if (keepsState() && keepLayer(layer, length)) {
    keepHidden(layer.channel, false);
  }
  if (logging()) {
    logLayer(layer, buffer, length);
  }
  return 0;
}

int presentPlane(int /*ge2d*/, std::int32_t* words) {
  const auto channel = static_cast<std::uint32_t>(words[0]);
  if (channel >= kChannels) {
    return -EINVAL;
  }
  if (keepsState()) {
    keepHidden(channel, words[1] == 0);
  }
  return 0;
}

int setFastlogo(int /*ge2d*/, std::int32_t* words) {
  if (words[0] != 0 && words[0] != 1) {
    return -EINVAL;
  }
  if (keepsState()) {
    keep(settings().state + "/fastlogo",
         [&](int fd) { return writeAll(fd, words[0] != 0 ? "1\n" : "0\n", 2); });
  }
  return 0;
}

}  // namespace

const std::vector<Request>& ge2dRequests() {
  static const auto& requests = *new std::vector<Request>{
      {kGe2d, "present", 0x4631, "put", 80,
       "+channel param_a format param_b param_c param_d window_x window_y window_w window_h "
       "compress buf_width buf_height crop_x crop_y crop_w crop_h dma_buf_fd param_e out_value",
       putPlane},
      {kGe2d, "present", 0x4632, "present", 8, "+channel +enable", presentPlane},
      {kGe2d, "present", 0x4635, "fastlogo", 4, "mode", setFastlogo},
  };
  return requests;
}

}  // namespace sim
