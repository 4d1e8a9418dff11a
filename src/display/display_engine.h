#pragma once

#include <cstddef>
#include <cstdint>

// One layer of an OSD channel, as the display driver reads it: twenty 32-bit words. Zero all of it
// before filling it in. Positions and sizes are in pixels.
struct _plane_info {
  std::uint32_t channel;  // 0 is QM710_OSD2, 1 is QM710_OSD3
  std::int32_t param_a;
  std::int32_t format;  // the driver's code of the pixel format
  std::int32_t param_b;
  std::int32_t param_c;
  std::int32_t param_d;
  std::int32_t window_x;  // output window on the screen
  std::int32_t window_y;
  std::int32_t window_w;
  std::int32_t window_h;
  std::int32_t compress;   // 1: the buffer holds AFBC data
  std::int32_t buf_width;  // image in the buffer
  std::int32_t buf_height;
  std::int32_t crop_x;  // source rectangle inside the buffer
  std::int32_t crop_y;
  std::int32_t crop_w;
  std::int32_t crop_h;
  std::int32_t dma_buf_fd;  // holds the pixels
  std::int32_t param_e;
  std::int32_t out_value;  // written by the driver
};
static_assert(sizeof(_plane_info) == 80);
static_assert(offsetof(_plane_info, channel) == 0 && offsetof(_plane_info, param_a) == 4 &&
              offsetof(_plane_info, format) == 8 && offsetof(_plane_info, param_b) == 12 &&
              offsetof(_plane_info, param_c) == 16 && offsetof(_plane_info, param_d) == 20 &&
              offsetof(_plane_info, window_x) == 24 && offsetof(_plane_info, window_y) == 28 &&
              offsetof(_plane_info, window_w) == 32 && offsetof(_plane_info, window_h) == 36 &&
              offsetof(_plane_info, compress) == 40 && offsetof(_plane_info, buf_width) == 44 &&
              offsetof(_plane_info, buf_height) == 48 && offsetof(_plane_info, crop_x) == 52 &&
              offsetof(_plane_info, crop_y) == 56 && offsetof(_plane_info, crop_w) == 60 &&
              offsetof(_plane_info, crop_h) == 64 && offsetof(_plane_info, dma_buf_fd) == 68 &&
              offsetof(_plane_info, param_e) == 72 && offsetof(_plane_info, out_value) == 76);

// The display engine's three requests. All share one descriptor on /dev/ge2d, opened by the first
// call of the process and closed at exit. Each returns 0, or -1 after reporting the failure.

// Shows info's layer on its channel (0 or 1; others are refused before the device is touched). *out
// becomes the driver's out value, or -1 if the driver refuses the layer.
int submitLayer(_plane_info* info, int* out);

// Hides the channel if blank is not 0, else shows it. Any channel number is sent.
int blankCtrl(int blank, unsigned int channel);

// Sets the driver's fast-logo mode: 1 on, 0 off.
int fastlogoCtrl(int mode);
