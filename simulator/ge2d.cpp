// The simulated display driver: two OSD channels, each with the last layer it accepted.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "devices.h"
#include "layer.h"
#include "settings.h"

namespace sim {

namespace {

// Keeps one piece of the driver's state in its folder, if there is one. The driver's answer does
// not depend on it: what can't be kept is said on standard error.
void keep(const std::string& name, const void* bytes, std::size_t size,
          const std::vector<char>& more = {}) {
  if (settings().state.empty()) {
    return;
  }
  const std::string path = settings().state + "/" + name;
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  const bool written = file != nullptr && std::fwrite(bytes, 1, size, file) == size &&
                       std::fwrite(more.data(), 1, more.size(), file) == more.size();
  if (file == nullptr || std::fclose(file) != 0 || !written) {
    dprintf(STDERR_FILENO, "planeshow-sim: %s: %s\n", path.c_str(), strerror(errno));
  }
}

// By pread: a read through a duplicate would move the offset that the tool's descriptor shares.
std::vector<char> bytesOf(int fd, std::uint64_t size) {
  std::vector<char> bytes(static_cast<std::size_t>(size));
  std::size_t at = 0;
  for (ssize_t got = 1; got > 0 && at < bytes.size(); at += static_cast<std::size_t>(got)) {
    got = pread64(fd, &bytes[at], bytes.size() - at, static_cast<off64_t>(at));
  }
  return bytes;
}

// The CRC-32 of zip and PNG, so that a person can compare it with the file's.
std::uint32_t crc32(const std::vector<char>& bytes) {
  std::uint32_t crc = UINT32_MAX;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
    }
  }
  return ~crc;
}

}  // namespace

int putPlane(std::int32_t* words) {
  static std::int32_t layers = 0;
  Layer layer = {};
  memcpy(&layer, words, sizeof layer);
  const int fd = layer.dma_buf_fd;
  const std::string name = nameOf(fd);
  const std::size_t size = name.find(" of ");  // only a buffer's name has it
  if (layer.channel >= kChannels) {
    return -EINVAL;
  }
  if (size == std::string::npos) {
    return fcntl(fd, F_GETFD) == -1 ? -EBADF : -EINVAL;
  }
  layer.out_value = ++layers;
  memcpy(words, &layer, sizeof layer);
  if (logging() || !settings().state.empty()) {
    const auto bytes = bytesOf(fd, strtoull(&name[size + 4], nullptr, 10));
    keep(layerFile(layer.channel), &layer, sizeof layer, bytes);
    if (logging()) {
      char text[32];
      std::snprintf(text, sizeof text, ", crc32 %08x", crc32(bytes));
      logLine("layer channel " + std::to_string(layer.channel) + ": " + name + text);
    }
  }
  return 0;
}

int presentPlane(std::int32_t* words) {
  const auto channel = static_cast<std::uint32_t>(words[0]);
  if (channel >= kChannels) {
    return -EINVAL;
  }
  if (!settings().state.empty()) {
    const std::string folder = settings().state + "/";
    const std::string shown = folder + layerFile(channel);
    const std::string hidden = folder + hiddenFile(channel);
    std::rename(words[1] != 0 ? hidden.c_str() : shown.c_str(),
                words[1] != 0 ? shown.c_str() : hidden.c_str());
  }
  return 0;
}

int setFastlogo(std::int32_t* words) {
  if (words[0] != 0 && words[0] != 1) {
    return -EINVAL;
  }
  keep(kFastlogoFile, words[0] != 0 ? "1\n" : "0\n", 2);
  return 0;
}

}  // namespace sim
