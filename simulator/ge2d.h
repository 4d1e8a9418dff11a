#pragma once

#include <cstddef>
#include <cstdint>

namespace sim {

// The layer record as the display driver receives it. This is deliberately not the tool's own
// struct, so that a mistake there shows here.
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

// What the process did to one channel.
struct Channel {
  bool touched = false;  // a layer or a blank was taken
  bool shown = false;
  Layer layer = {};                      // the last one
  const unsigned char* bytes = nullptr;  // of the buffer, mapped until the process ends
  std::size_t length = 0;
};

extern Channel channels[kChannels];

}  // namespace sim
