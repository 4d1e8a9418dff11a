#pragma once

#include <string>

namespace sim {

// Words of the layer record as the display driver receives it and as the state folder keeps it.
// kWindow and kCrop are the first of four (x, y, w, h), kSize of two (width, height).
enum { kChannel = 0, kFormat = 2, kWindow = 6, kCompress = 10, kSize = 11, kCrop = 13 };
enum { kDmaBufFd = 17, kOutValue = 19, kLayerWords = 20 };

constexpr unsigned kChannels = 2;
constexpr unsigned kNoChannel = kChannels;

// The display driver's state between processes: of each channel the last accepted "layer" record,
// the "pixels" in its buffer and whether it is "shown" (1 or 0); of none the "fastlogo" mode.
inline std::string statePath(const std::string& folder, unsigned channel, const char* what) {
  return folder + (channel == kNoChannel ? "/" : "/channel" + std::to_string(channel) + ".") + what;
}

}  // namespace sim
