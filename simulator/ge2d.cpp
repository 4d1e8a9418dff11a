// The simulated display driver: two OSD channels, each with the last layer it accepted.

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "devices.h"

namespace sim {

namespace {

constexpr std::uint32_t kChannels = 2;

struct Channel {
  unsigned buffer;  // 0 before the first layer
  bool shown;
};
Channel channels[kChannels];

// Words of the layer record.
constexpr int kChannel = 0;
constexpr int kDmaBufFd = 17;
constexpr int kOutValue = 19;

// The CRC-32 of zip and PNG, so that a person can compare it with the file's (crc32, cksum -a
// crc32b).
std::uint32_t crc32(int fd, std::uint64_t size) {
  std::uint32_t crc = UINT32_MAX;
  unsigned char block[65536];
  for (std::uint64_t at = 0; at < size;) {
    const std::size_t wanted =
        size - at < sizeof block ? static_cast<std::size_t>(size - at) : sizeof block;
    const ssize_t got = pread64(fd, block, wanted, static_cast<off64_t>(at));
    if (got <= 0) {
      break;
    }
    for (ssize_t i = 0; i < got; ++i) {
      crc ^= block[i];
      for (int bit = 0; bit < 8; ++bit) {
        crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
      }
    }
    at += static_cast<std::uint64_t>(got);
  }
  return ~crc;
}

int putPlane(std::int32_t* words, std::string& note) {
  static std::int32_t layers = 0;
  const auto channel = static_cast<std::uint32_t>(words[kChannel]);
  if (channel >= kChannels) {
    return -EINVAL;
  }
  const Object* const buffer = objectOf(words[kDmaBufFd]);
  if (buffer == nullptr || buffer->kind != Kind::Buffer) {
    return -EBADF;
  }
  channels[channel] = {buffer->number, true};
  words[kOutValue] = ++layers;
  if (logging()) {
    char text[128];
    std::snprintf(text, sizeof text, "layer channel %u buffer %u %llu bytes crc32 %08x\n", channel,
                  buffer->number, static_cast<unsigned long long>(buffer->size),
                  crc32(words[kDmaBufFd], buffer->size));
    note = text;
  }
  return 0;
}

int presentPlane(std::int32_t* words, std::string& /*note*/) {
  const auto channel = static_cast<std::uint32_t>(words[0]);
  if (channel >= kChannels) {
    return -EINVAL;
  }
  channels[channel].shown = words[1] != 0;
  return 0;
}

int setFastlogo(std::int32_t* words, std::string& /*note*/) {
  return words[0] == 0 || words[0] == 1 ? 0 : -EINVAL;
}

constexpr Request kRequests[] = {
    {0x4631, "put", 80,
     "+channel param_a format param_b param_c param_d window_x window_y window_w window_h compress "
     "buf_width buf_height crop_x crop_y crop_w crop_h dma_buf_fd param_e out_value",
     putPlane},
    {0x4632, "present", 8, "+channel +enable", presentPlane},
    {0x4635, "fastlogo", 4, "mode", setFastlogo},
};

}  // namespace

const Request* findGe2dRequest(std::uint32_t code) { return findRequest(kRequests, code); }

}  // namespace sim
