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

// The CRC-32 of zip and PNG, so that it can be compared with that of the image file.
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

std::int32_t layers = 0;  // that were taken

int put(void* record) {
  Layer& layer = *static_cast<Layer*>(record);
  const std::string buffer = nameOf(layer.dma_buf_fd);
  Channel taken = {true, true, layer, nullptr, bufferLength(buffer)};
  if (layer.channel >= kChannels) {
    return -EINVAL;
  }
  if (taken.length == 0) {
    return fcntl(layer.dma_buf_fd, F_GETFD) == -1 ? -EBADF : -EINVAL;
  }
  const bool logged = logging();
  // A mapping keeps the buffer without using up a descriptor, as a driver does.
  if (logged || !settings().state.empty()) {
    void* const bytes = mmap(nullptr, taken.length, PROT_READ, MAP_SHARED, layer.dma_buf_fd, 0);
    if (bytes == MAP_FAILED) {
      return -errno;
    }
    taken.bytes = static_cast<const unsigned char*>(bytes);
  }
  layer.out_value = ++layers;
  channels[layer.channel] = taken;
  if (logged) {
    char checksum[32];
    std::snprintf(checksum, sizeof checksum, ", crc32 %08x", crc32(taken.bytes, taken.length));
    logLine("layer channel " + std::to_string(layer.channel) + ": " + buffer + checksum);
  }
  return 0;
}

int present(void* record) {
  const Present& asked = *static_cast<Present*>(record);
  if (asked.channel >= kChannels) {
    return -EINVAL;
  }
  channels[asked.channel].touched = true;
  channels[asked.channel].shown = asked.enable != 0;
  return 0;
}

int fastlogo(void* record) {
  const std::int32_t mode = *static_cast<std::int32_t*>(record);
  return mode == 0 || mode == 1 ? 0 : -EINVAL;
}

}  // namespace

Channel channels[kChannels];

std::vector<Request> ge2dRequests() {
  return {{kGe2d, 0x4631, "put", sizeof(Layer),
           "+channel param_a format param_b param_c param_d window_x window_y window_w window_h "
           "compress buf_width buf_height crop_x crop_y crop_w crop_h dma_buf_fd param_e out_value",
           put},
          {kGe2d, 0x4632, "present", sizeof(Present), "+channel +enable", present},
          {kGe2d, 0x4635, "fastlogo", sizeof(std::int32_t), "mode", fastlogo}};
}

}  // namespace sim
