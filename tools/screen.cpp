// Composes what the simulated display driver was given into a PNG: the screen as a person would see
// it, channel 0 under channel 1.

#include <fcntl.h>
#include <png.h>
#include <sys/mman.h>
#include <zlib.h>

#include <algorithm>
#include <vector>

#include "simulator/layer.h"
#include "src/common/uniquefd.h"
#include "tools/output.h"

namespace {

struct Screen {
  std::int32_t width = 1920;
  std::int32_t height = 1080;
  std::vector<Colour> pixels;
};

// A file's bytes, mapped until the program ends: what nobody looks at is not read. Only a regular
// file's: others block or have no end. Cut meanwhile, it would be the end by SIGBUS; the simulated
// driver renames a new file over the old one, and what is mapped stays whole.
std::string_view mapFile(const std::string& path) {
  orvan::uniquefd fd;
  fd.reset(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  require(fd.get() >= 0 && fstat(fd.get(), &status) == 0, path);
  if (!S_ISREG(status.st_mode)) {
    throw std::runtime_error(path + ": not a regular file");
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  // A mapping has a byte at least; nobody sees it.
  void* const bytes = mmap(nullptr, size + 1, PROT_READ, MAP_PRIVATE, fd.get(), 0);
  require(bytes != MAP_FAILED, path);
  return {static_cast<const char*>(bytes), size};
}

// Which of an image's columns, or rows, each of the screen's shows, where a window shows a crop.
// None is a number beyond every image.
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

void drawLayer(sim::Layer layer, std::string_view buffer, Screen& screen) {
  const auto* const format =
      std::find_if(std::begin(kPixelFormats), std::end(kPixelFormats),
                   [&](const PixelFormat& known) { return known.code == layer.format; });
  const bool known = format != std::end(kPixelFormats);
  const bool hatched = layer.compress != 0 || !known;
  if (hatched) {  // nobody here can decode it: a pattern as large as the window
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
             " is unknown, so the length needed is too; " + found +
             " bytes, drawn as a hatched box.");
  } else if (buffer.size() < needed) {
    complain(name + format->name + " of " + std::to_string(width) + "x" + std::to_string(height) +
             " needs " + std::to_string(needed) + " bytes, " + found +
             ": what is missing is not drawn.");
  }
  const auto columns =
      shown(layer.window_x, layer.window_w, layer.crop_x, layer.crop_w, screen.width);
  const auto rows =
      shown(layer.window_y, layer.window_h, layer.crop_y, layer.crop_h, screen.height);
  Colour* to = screen.pixels.data();
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

void drawChannel(unsigned channel, const std::string& folder, Screen& screen) {
  const std::string path = sim::channelFile(folder, channel, "layer");
  const bool none = access(path.c_str(), F_OK) != 0 && errno == ENOENT;
  if (none || access(sim::channelFile(folder, channel, "hidden").c_str(), F_OK) == 0) {
    return;
  }
  const std::string_view file = mapFile(path);
  sim::Layer layer = {};
  if (file.copy(reinterpret_cast<char*>(&layer), sizeof layer) < sizeof layer ||
      layer.channel != channel) {
    throw std::runtime_error("channel " + std::to_string(channel) +
                             ": its layer record is damaged, nothing is drawn.");
  }
  drawLayer(layer, file.substr(sizeof layer), screen);
}

// Filter and compression of its own: noise takes a third of the time of what libpng would choose.
void writePicture(const Screen& screen, const std::string& path) {
  writeFile(path, [&](std::FILE* file) {
    const auto width = static_cast<png_uint_32>(screen.width);
    const auto height = static_cast<png_uint_32>(screen.height);
    png_structp png = png_create_write_struct(
        PNG_LIBPNG_VER_STRING, const_cast<std::string*>(&path),
        [](png_structp failed, png_const_charp /*message*/) {  // of the file or for memory: errno
          require(false, *static_cast<const std::string*>(png_get_error_ptr(failed)));
        },
        nullptr);
    png_infop info = png_create_info_struct(png);
    const std::shared_ptr<void> freed(nullptr,
                                      [&](void*) { png_destroy_write_struct(&png, &info); });
    require(info != nullptr, path);
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_filter(png, PNG_FILTER_TYPE_DEFAULT, PNG_FILTER_UP);
    png_set_compression_level(png, Z_BEST_SPEED);
    png_set_compression_strategy(png, Z_RLE);
    png_write_info(png, info);
    Progress progress{PROGRAM, "writing", height};
    for (std::size_t y = 0; y < height; ++y) {
      png_write_row(png, reinterpret_cast<png_const_bytep>(&screen.pixels[y * width]));
      progress.at(y);
    }
    png_write_end(png, info);
  });
}

int run(int argc, char** argv) {
  Screen screen;
  if (argc == 5 && (!parseSize(argv[2], screen.width, screen.height) ||
                    std::max(screen.width, screen.height) > 8192)) {
    throw std::runtime_error(std::string(argv[2]) +
                             ": the size is WIDTHxHEIGHT, each from 1 to 8192");
  }
  const std::string folder = argv[argc - 2];
  require(access((folder + "/").c_str(), X_OK) == 0, folder);
  screen.pixels.resize(static_cast<std::size_t>(screen.width) *
                       static_cast<std::size_t>(screen.height));
  int status = 0;
  for (unsigned channel = 0; channel < sim::kChannels; ++channel) {
    try {
      drawChannel(channel, folder, screen);
    } catch (const std::runtime_error& failure) {
      complain(failure.what());  // the picture shows the rest
      status = 1;
    }
  }
  writePicture(screen, argv[argc - 1]);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  return runCompanion(
      argc, argv, argc == 3 || (argc == 5 && std::string_view(argv[1]) == "--size"),
      "[--size WIDTHxHEIGHT] STATE_FOLDER PICTURE.png",
      "Draws the screen as the simulated devices left it, 1920x1080 pixels by default.", run);
}
