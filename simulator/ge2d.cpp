// The simulated display driver: two OSD channels, each with the last layer it accepted.

#include "simulator/ge2d.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "simulator/devices.h"
#include "simulator/log.h"
#include "simulator/settings.h"

namespace sim {

namespace {

struct Present {
  std::uint32_t channel, enable;
};

// The CRC-32 of zip and PNG, so that a person can compare it with the file's.
std::uint32_t crc32(const unsigned char* bytes, std::size_t length) {
  std::array<std::uint32_t, 256> table = {};
  for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
    table[byte] = byte;
    for (int bit = 0; bit < 8; ++bit) {
      table[byte] = table[byte] >> 1 ^ ((table[byte] & 1) != 0 ? 0xEDB88320U : 0);
    }
  }
  std::uint32_t crc = UINT32_MAX;
  for (std::size_t at = 0; at < length; ++at) {
    crc = crc >> 8 ^ table[(crc ^ bytes[at]) & 255];
  }
  return ~crc;
}

class Display {
 public:
  std::array<Channel, kChannels> channels;

  int put(Layer& layer) {
    const std::string buffer = nameOf(layer.dma_buf_fd);
    Channel taken = {true, true, layer, nullptr, bufferLength(buffer)};
    if (layer.channel >= kChannels) {
      return -EINVAL;
    }
    if (taken.length == 0) {
      return fcntl(layer.dma_buf_fd, F_GETFD) == -1 ? -EBADF : -EINVAL;
    }
    // A mapping keeps the buffer without using up a descriptor, as a driver does.
    if (!settings().state.empty() || logging()) {
      void* const bytes = mmap(nullptr, taken.length, PROT_READ, MAP_SHARED, layer.dma_buf_fd, 0);
      if (bytes == MAP_FAILED) {
        return -errno;
      }
      taken.bytes = static_cast<const unsigned char*>(bytes);
    }
    layer.out_value = ++mLayers;
    channels[layer.channel] = taken;
    if (logging() && taken.bytes != nullptr) {
      char checksum[32];
      std::snprintf(checksum, sizeof checksum, ", crc32 %08x", crc32(taken.bytes, taken.length));
      logLine("layer channel " + std::to_string(layer.channel) + ": " + buffer + checksum);
    }
    return 0;
  }

  int present(Present& record) {
    if (record.channel >= kChannels) {
      return -EINVAL;
    }
    channels[record.channel].touched = true;
    channels[record.channel].shown = record.enable != 0;
    return 0;
  }

  int fastlogo(std::int32_t& mode) { return mode == 0 || mode == 1 ? 0 : -EINVAL; }

 private:
  std::int32_t mLayers = 0;
};

Display& display() {
  static auto& display = *new Display;
  return display;
}

}  // namespace

Channel& channel(unsigned number) { return display().channels.at(number); }

const std::vector<Request>& ge2dRequests() {
  static const auto& requests = *new std::vector<Request>{
      {kGe2d, 0x4631, "put", 80,
       "+channel param_a format param_b param_c param_d window_x window_y window_w window_h "
       "compress buf_width buf_height crop_x crop_y crop_w crop_h dma_buf_fd param_e out_value",
       by(&display(), &Display::put)},
      {kGe2d, 0x4632, "present", 8, "+channel +enable", by(&display(), &Display::present)},
      {kGe2d, 0x4635, "fastlogo", 4, "mode", by(&display(), &Display::fastlogo)}};
  return requests;
}

}  // namespace sim
