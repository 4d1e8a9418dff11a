#include "simulator/screen.h"

#include <fcntl.h>
#include <png.h>
#include <sys/mman.h>

#include <algorithm>
#include <vector>

#include "simulator/ge2d.h"
#include "simulator/settings.h"
#include "src/common/uniquefd.h"
#include "tools/output.h"

namespace sim {

namespace {

// The column (or row) of the image that each column (or row) of the screen shows, for a window and
// a crop. UINT64_MAX where nothing is shown.
std::vector<std::uint64_t> shown(std::int64_t window, std::int64_t windowSize, std::int64_t crop,
                                 std::int64_t cropSize, std::int64_t screenSize) {
  std::vector<std::uint64_t> sources(static_cast<std::size_t>(screenSize), UINT64_MAX);
  const std::int64_t end = std::min(window + windowSize, screenSize);
  for (std::int64_t at = std::max<std::int64_t>(window, 0); at < end; ++at) {
    const std::int64_t source = crop + (at - window) * cropSize / windowSize;
    sources[static_cast<std::size_t>(at)] = static_cast<std::uint64_t>(source);
  }
  return sources;
}

void drawLayer(Layer layer, std::string_view buffer, std::vector<Colour>& screen) {
  const auto* const format =
      std::find_if(std::begin(kPixelFormats), std::end(kPixelFormats),
                   [&](const PixelFormat& known) { return known.code == layer.format; });
  const bool known = format != std::end(kPixelFormats);
  const bool hatched = layer.compress != 0 || !known;
  if (hatched) {  // it can't be decoded here: draw a pattern as large as the window
    layer.crop_x = layer.crop_y = 0;
    layer.crop_w = layer.buf_width = layer.window_w;
    layer.crop_h = layer.buf_height = layer.window_h;
  }
  const auto width = static_cast<std::uint64_t>(std::max(layer.buf_width, 0));
  const auto height = static_cast<std::uint64_t>(std::max(layer.buf_height, 0));
  const std::uint64_t needed = hatched ? 0 : width * height * format->bytes;
  const std::string name = "channel " + std::to_string(layer.channel) + ": ";
  const std::string found = "the buffer has " + std::to_string(buffer.size());
  if (layer.compress == 0 && !known) {
    complain(name + "format " + std::to_string(layer.format) +
             " is unknown, and so is the length needed; " + found +
             " bytes and is drawn as a hatched box.");
  } else if (buffer.size() < needed) {
    complain(name + format->name + " of " + std::to_string(width) + "x" + std::to_string(height) +
             " needs " + std::to_string(needed) + " bytes, but " + found +
             ": the missing part is not drawn.");
  }
  const auto columns =
      shown(layer.window_x, layer.window_w, layer.crop_x, layer.crop_w, settings().width);
  const auto rows =
      shown(layer.window_y, layer.window_h, layer.crop_y, layer.crop_h, settings().height);
  Colour* to = screen.data();
  for (std::size_t y = 0; y < rows.size(); ++y) {
    for (std::size_t x = 0; x < columns.size(); ++x, ++to) {
      const bool inside = columns[x] < width && rows[y] < height;
      if (inside && hatched) {
        *to = (x + y) % 16 < 4 ? Colour{255, 160, 0} : Colour{40, 40, 40};
      } else if (inside) {
        const std::uint64_t at = (rows[y] * width + columns[x]) * format->bytes;
        const bool there = at + format->bytes <= buffer.size();
        *to = there ? blend(decode(&buffer[at], *format), *to) : *to;
      }
    }
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
  const std::string folder = settings().state + "/";
  if (settings().state.empty() || (!channel(0).touched && !channel(1).touched)) {
    return;
  }
  try {
    std::vector<Colour> screen(static_cast<std::size_t>(settings().width) *
                               static_cast<std::size_t>(settings().height));
    for (unsigned number = 0; number < kChannels; ++number) {  // 1 lies over 0
      const std::string path = folder + "channel" + std::to_string(number) + ".layer";
      if (channel(number).touched) {
        keepChannel(channel(number), path);
      }
      drawChannel(path, screen);
    }
    writePicture(screen, folder + "screen.png");
    complain("the screen is in " + folder + "screen.png");
    return;
  } catch (const std::exception& failure) {
    complain(failure.what());
  }
  std::fflush(stdout);
  _exit(1);
}

}  // namespace sim
