#include "simulator/screen.h"

#include <fcntl.h>
#include <png.h>
#include <sys/file.h>
#include <sys/mman.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "common/uniquefd.h"
#include "simulator/ge2d.h"
#include "simulator/settings.h"
#include "tools/output.h"

namespace sim {

namespace {

void drawLayer(const Layer& layer, std::string_view buffer, std::vector<Colour>& screen) {
  const std::string name = "channel " + std::to_string(layer.channel) + ": ";
  const auto* const format =
      std::find_if(std::begin(kPixelFormats), std::end(kPixelFormats),
                   [&](const PixelFormat& known) { return known.code == layer.format; });
  if (layer.compress != 0 || format == std::end(kPixelFormats)) {
    complain(name + "AFBC data and unknown formats can't be drawn here.");
    return;
  }
  const std::int64_t width = std::max(layer.buf_width, 0);
  const std::int64_t height = std::max(layer.buf_height, 0);
  const std::uint64_t needed = static_cast<std::uint64_t>(width * height) * format->bytes;
  if (buffer.size() != needed) {
    complain(name + format->name + " of " + std::to_string(layer.buf_width) + "x" +
             std::to_string(layer.buf_height) + " needs " + std::to_string(needed) +
             " bytes, but the buffer has " + std::to_string(buffer.size()) +
             (buffer.size() < needed ? ": the missing part is not drawn."
                                     : ": are format and size right?"));
  }
  bool onScreen = false;  // some pixel of the image
  bool visible = false;
  const std::int64_t left = layer.window_x;
  const std::int64_t top = layer.window_y;
  const auto right = std::min<std::int64_t>(left + layer.window_w, settings().width);
  const auto bottom = std::min<std::int64_t>(top + layer.window_h, settings().height);
  for (std::int64_t y = std::max<std::int64_t>(top, 0); y < bottom; ++y) {
    const std::int64_t row = layer.crop_y + (y - top) * layer.crop_h / layer.window_h;
    for (std::int64_t x = std::max<std::int64_t>(left, 0); x < right; ++x) {
      const std::int64_t column = layer.crop_x + (x - left) * layer.crop_w / layer.window_w;
      const auto at = static_cast<std::uint64_t>(row * width + column) * format->bytes;
      const bool inside = row >= 0 && row < height && column >= 0 && column < width;
      onScreen = onScreen || inside;
      if (inside && at + format->bytes <= buffer.size()) {
        Colour& to = screen[static_cast<std::size_t>(y * settings().width + x)];
        const Pixel pixel = decode(&buffer[at], *format);
        to = blend(pixel, to);
        visible = visible || pixel.alpha != 0;
      }
    }
  }
  if (!onScreen) {
    complain(name + "nothing of the layer is on the screen: are window and crop right?");
  } else if (!visible && buffer.size() >= needed) {
    complain(name + "every pixel that is shown is transparent.");
  }
}

// Writes the file of a channel that the run changed: the record of its layer, then the bytes of the
// buffer. A channel that shows nothing has no file.
void keepChannel(const Channel& channel, const std::string& path) {
  if (!channel.shown) {
    require(unlink(path.c_str()) == 0 || errno == ENOENT, path);
    return;
  }
  replaceFile(path, [&](std::FILE* file) {
    require(std::fwrite(&channel.layer, sizeof channel.layer, 1, file) == 1 &&
                std::fwrite(channel.bytes, channel.length, 1, file) == 1,
            path);
  });
}

// Draws a channel from its file, which is mapped so that only the pixels that are shown are read.
// Another run may replace the file meanwhile, but only by renaming: the mapped one stays whole.
void drawChannel(const std::string& path, std::vector<Colour>& screen) {
  orvan::uniquefd fd;
  fd.reset(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (fd.get() == -1 && errno == ENOENT) {
    return;
  }
  struct stat status = {};
  require(fd.get() != -1 && fstat(fd.get(), &status) == 0, path);
  const auto size = static_cast<std::size_t>(status.st_size);
  if (!S_ISREG(status.st_mode) || size < sizeof(Layer)) {
    throw std::runtime_error(path + " is not a layer's file");
  }
  void* const bytes = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd.get(), 0);
  require(bytes != MAP_FAILED, path);
  const std::string_view file(static_cast<const char*>(bytes), size);
  Layer layer = {};
  file.copy(reinterpret_cast<char*>(&layer), sizeof layer);
  drawLayer(layer, file.substr(sizeof layer), screen);
}

void writePicture(const std::vector<Colour>& screen, const std::string& path) {
  replaceFile(path, [&](std::FILE* file) {
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = static_cast<png_uint_32>(settings().width);
    picture.height = static_cast<png_uint_32>(settings().height);
    picture.format = PNG_FORMAT_RGB;
    picture.flags = PNG_IMAGE_FLAG_FAST;
    require(png_image_write_to_stdio(&picture, file, 0, screen.data(), 0, nullptr) != 0, path);
  });
}

}  // namespace

void drawScreen() {
  const std::filesystem::path folder = settings().state;
  if (folder.empty() || (!channels[0].touched && !channels[1].touched)) {
    return;
  }
  // Runs that end together take turns, so that the last one draws what all have kept. Where the
  // folder can't be locked, they don't.
  orvan::uniquefd lock;
  lock.reset(open(folder.c_str(), O_RDONLY | O_CLOEXEC));
  flock(lock.get(), LOCK_EX);
  try {
    std::vector<Colour> screen(static_cast<std::size_t>(settings().width) *
                               static_cast<std::size_t>(settings().height));
    for (unsigned number = 0; number < kChannels; ++number) {  // 1 lies over 0
      const std::string path = folder / ("channel" + std::to_string(number) + ".layer");
      if (channels[number].touched) {
        keepChannel(channels[number], path);
      }
      drawChannel(path, screen);
    }
    const std::string picture = folder / "screen.png";
    writePicture(screen, picture);
    complain("the screen is in " + picture);
    return;
  } catch (const std::bad_alloc&) {
    complain("there is not enough memory");
  } catch (const std::exception& failure) {
    complain(failure.what());
  }
  _exit(1);
}

}  // namespace sim
