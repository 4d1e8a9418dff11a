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
  std::int32_t compress;
  std::int32_t buf_width, buf_height;
  std::int32_t crop_x, crop_y, crop_w, crop_h;
  std::int32_t dma_buf_fd, param_e, out_value;
};
static_assert(sizeof(Layer) == 80);

constexpr unsigned kChannels = 2;

// The display driver's state between processes, in one folder: of each channel the last accepted
// layer, its record followed by the bytes of its buffer, as "channel0.layer" while it is shown and
// as "channel0.hidden" while it is blanked; and the "fastlogo" mode, 0 or 1.
inline std::string layerFile(unsigned channel) {
  return "channel" + std::to_string(channel) + ".layer";
}
inline std::string hiddenFile(unsigned channel) {
  return "channel" + std::to_string(channel) + ".hidden";
}
inline constexpr const char* kFastlogoFile = "fastlogo";

}  // namespace sim
