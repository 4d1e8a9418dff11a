#pragma once

#include <cstdint>
#include <string>

namespace sim {

// The layer record as the display driver receives it. Deliberately not the tool's own struct: a
// slip there must show here.
struct Layer {
  std::uint32_t channel;
  std::int32_t param_a, format, param_b, param_c, param_d;
  std::int32_t window_x, window_y, window_w, window_h;
  std::int32_t compress, buf_width, buf_height;
  std::int32_t crop_x, crop_y, crop_w, crop_h;
  std::int32_t dma_buf_fd, param_e, out_value;
};
static_assert(sizeof(Layer) == 80);

constexpr unsigned kChannels = 2;

// A file of the display driver's state between processes. Of each channel "layer" is the last layer
// it accepted, the record followed by the bytes of its buffer, and "hidden", an empty file, is
// there while the channel is blanked. Beside them "fastlogo" has the mode, 0 or 1.
inline std::string channelFile(const std::string& folder, unsigned channel, const char* what) {
  return folder + "/channel" + std::to_string(channel) + "." + what;
}

}  // namespace sim
