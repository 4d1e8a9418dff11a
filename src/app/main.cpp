#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "app/formats.h"
#include "app/options.h"
#include "buffers/image.h"
#include "buffers/ion_buffer.h"
#include "common/debug.h"
#include "common/standard_descriptors.h"
#include "display/display_engine.h"

namespace {

// The run is the same if standard output is closed, full or has lost its reader.
void prepareDescriptorsAndSignals() {
  fillStandardDescriptors();
  // These would end the run when the reader has gone ("| head") or the output file is at its limit.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  // Every line is written at once, into pipes and files too: the next request may hang the board.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

// The driver's code, or -1 for any other name: whether that is an error is up to the driver.
std::int32_t formatCode(std::string_view name) {
  for (const auto& format : formatTable) {
    if (name == format.name) {
      return format.code;
    }
  }
  return -1;
}

// The size is the upper bound even if it is negative, which std::clamp would not allow.
std::int32_t clampToImage(std::int32_t position, std::int32_t size) {
  return std::min(std::max(position, 0), size);
}

void printSettings(const Cmdoptions& options) {
  const auto& crop = options.crop;
  const auto& window = options.window;
  std::printf(
      "\nSRC image info -->\n"
      "      path: %s\n"
      "      size: %dx%d\n"
      "      crop: [%d,%d,%d,%d]\n"
      "    format: %s\n"
      "  compress: %s\n"
      "\nOSD setting ----->\n"
      "    window: [%d,%d,%d,%d]\n"
      "   Channel: %s\n",
      options.input.c_str(), options.width, options.height, crop[0], crop[1], crop[2], crop[3],
      options.format.c_str(), options.afbc ? "true" : "false", window[0], window[1], window[2],
      window[3], options.target == 0 ? "QM710_OSD2" : "QM710_OSD3");
}

void printLayer(const _plane_info& info) {
  std::printf(
      "\nPanel info -->\n"
      "   buf size: %dx%d\n"
      "       crop: [%d,%d,%d,%d]\n"
      "     window: [%d,%d,%d,%d]\n"
      "     format: %d\n"
      "   compress: %d\n"
      " dma_buf fd: %d\n"
      "osd channel: %d\n",
      info.buf_width, info.buf_height, info.crop_x, info.crop_y, info.crop_w, info.crop_h,
      info.window_x, info.window_y, info.window_w, info.window_h, info.format, info.compress,
      info.dma_buf_fd, static_cast<std::int32_t>(info.channel));
}

// Returns a shared buffer with the file's bytes, or null after reporting the failure.
std::unique_ptr<orvan::IonBuffer> initImageBuffer(const char* path) {
  Image image;
  if (image.initFromFile(path) != 0) {
    Debug::gDebugInstance.error("%s: read image file return error!", "initImageBuffer");
    return nullptr;
  }
  auto buffer = std::make_unique<orvan::IonBuffer>(image.mSize, 0);
  const orvan::PrivateBuffer& record = *buffer->getPrivateBuffer();
  if (record.fd == -1) {
    return nullptr;
  }
  if (Image::loadToBuffer(record.fd, record.size, image.mData) != 0) {
    Debug::gDebugInstance.error("%s: failed load image data to buffer!", "initImageBuffer");
    return nullptr;
  }
  return buffer;
}

_plane_info describeLayer(const Cmdoptions& options, int bufferFd) {
  _plane_info info = {};
  info.channel = static_cast<std::uint32_t>(options.target);
  info.param_a = 0;
  info.format = formatCode(options.format);
  info.param_b = 1;
  info.param_c = 2;
  info.param_d = 255;
  info.window_x = options.window[0];
  info.window_y = options.window[1];
  info.window_w = options.window[2];
  info.window_h = options.window[3];
  info.compress = options.afbc ? 1 : 0;
  info.buf_width = options.width;
  info.buf_height = options.height;
  info.crop_x = clampToImage(options.crop[0], options.width);
  info.crop_y = clampToImage(options.crop[1], options.height);
  // The crop's width and height are only printed: the part shown always reaches the image's right
  // and bottom edges.
  info.crop_w = info.buf_width - info.crop_x;
  info.crop_h = info.buf_height - info.crop_y;
  info.dma_buf_fd = bufferFd;
  info.out_value = -1;
  return info;
}

}  // namespace

int main(int argc, char** argv) {
  prepareDescriptorsAndSignals();
  const Cmdoptions options = parseArgs(argc, const_cast<const char**>(argv));

  if (options.blank) {
    blankCtrl(1, static_cast<unsigned int>(options.target));
    Debug::gDebugInstance.error("%s: blank display!", "main");
    return 0;
  }
  if (options.debug) {
    printSettings(options);
  }

  const auto buffer = initImageBuffer(options.input.c_str());
  if (buffer == nullptr) {
    Debug::gDebugInstance.error("%s: initImageBuffer error, exit!", "main");
    std::exit(1);
  }
  fastlogoCtrl(options.fastlogo ? 1 : 0);

  // The layer gets a descriptor of its own, which is open until the process ends: the layer may
  // outlive our buffer. If dup fails, its -1 is printed and sent all the same.
  const int layerFd = dup(buffer->getPrivateBuffer()->fd);
  _plane_info info = describeLayer(options, layerFd);
  printLayer(info);
  int out = -1;
  if (submitLayer(&info, &out) != 0) {
    Debug::gDebugInstance.error("%s: submit osd layer error!", "main");
  }
  return 0;
}
