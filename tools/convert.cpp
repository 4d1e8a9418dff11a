#include <png.h>

#include <cstring>
#include <regex>
#include <utility>

#include "tools/output.h"

namespace {

// Quotes the text as one word for the shell.
std::string quoted(const std::string& text) {
  return "'" + std::regex_replace(text, std::regex("'"), "'\\''") + "'";
}

struct Picture {
  std::uint32_t width, height;
  std::unique_ptr<Pixel[]> pixels;
};

// libpng calls these two with the path as their pointer. It only warns of damage that it tolerates.
[[noreturn]] void fail(png_structp png, png_const_charp why) {
  const bool otherKind = std::strcmp(why, "Not a PNG file") == 0;
  throw std::runtime_error(*static_cast<const std::string*>(png_get_error_ptr(png)) + ": " + why +
                           (otherKind ? "; ffmpeg -i PICTURE -frames:v 1 NAME.png makes one" : ""));
}

void warn(png_structp png, png_const_charp what) {
  if (std::strncmp(what, "IDAT", 4) == 0) {
    fail(png, what);  // the pixels are damaged
  }
  complain(*static_cast<const std::string*>(png_get_error_ptr(png)) + ": " + what);
}

void readBytes(png_structp png, png_bytep bytes, std::size_t size) {
  auto* const file = static_cast<std::FILE*>(png_get_io_ptr(png));
  if (std::fread(bytes, 1, size, file) != size) {
    png_error(png, std::ferror(file) != 0  ? std::strerror(errno)
                   : std::ftell(file) == 0 ? "the file is empty"
                                           : "the file ends too early");
  }
}

// Turns a row's indexes into pixels, from right to left, as the indexes are bytes at the row's
// start. libpng could do it, but would not report an index that has no colour.
void lookUp(png_structp png, png_infop info, Pixel* row, std::size_t width) {
  png_colorp colours = nullptr;
  png_bytep alphas = nullptr;
  int colourCount = 0;
  int alphaCount = 0;
  png_get_PLTE(png, info, &colours, &colourCount);
  png_get_tRNS(png, info, &alphas, &alphaCount, nullptr);
  while (width-- > 0) {
    const int index = reinterpret_cast<const png_byte*>(row)[width];
    if (index >= colourCount) {
      png_error(png, "a pixel's colour is not in the palette");
    }
    const png_color& colour = colours[index];
    const std::uint8_t alpha = index < alphaCount ? alphas[index] : 255;
    row[width] = {{colour.red, colour.green, colour.blue}, alpha};
  }
}

// Reads the picture's values unchanged. libpng's simplified interface would apply the picture's
// gamma, and mixes up the rows of interlaced 16-bit values.
Picture readPicture(const std::string& path) {
  const File file(std::fopen(path.c_str(), "rb"), std::fclose);
  require(file != nullptr, path);
  png_structp png =
      png_create_read_struct(PNG_LIBPNG_VER_STRING, const_cast<std::string*>(&path), fail, warn);
  png_infop info = png_create_info_struct(png);
  const auto destroy = [&](png_structp) { png_destroy_read_struct(&png, &info, nullptr); };
  const std::unique_ptr<png_struct, decltype(destroy)> owner(png, destroy);
  require(info != nullptr, path);
  png_set_read_fn(png, file.get(), readBytes);
  // Without this, libpng skips a damaged chunk that it can do without.
  png_set_crc_action(png, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
  // Texts and the like, which could fill gigabytes, are passed over.
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
  png_read_info(png, info);
  const std::uint32_t width = png_get_image_width(png, info);
  const std::uint32_t height = png_get_image_height(png, info);
  if (!fitsRawFile(kPixelFormats[0], width, height)) {
    png_error(png, "too large: its pixels would fill 4 GiB or more");
  }
  const bool indexed = png_get_color_type(png, info) == PNG_COLOR_TYPE_PALETTE;
  if (indexed) {
    png_set_packing(png);
    png_set_check_for_invalid_index(png, 0);  // lookUp does it; not every libpng would say so
  } else {
    png_set_expand(png);
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    png_set_add_alpha(png, 255, PNG_FILLER_AFTER);
  }
  const int passes = png_set_interlace_handling(png);
  // Not initialised, so that a header that promises more than the file has costs no memory.
  std::unique_ptr<Pixel[]> pixels(new Pixel[std::size_t{width} * height]);
  for (int pass = 0; pass < passes; ++pass) {
    for (std::uint32_t row = 0; row < height; ++row) {
      png_read_row(png, reinterpret_cast<png_bytep>(&pixels[std::size_t{row} * width]), nullptr);
    }
  }
  png_read_end(png, info);  // without info, chunks behind the pixels are passed over in silence
  for (std::uint32_t row = 0; indexed && row < height; ++row) {
    lookUp(png, info, &pixels[std::size_t{row} * width], width);
  }
  return {width, height, std::move(pixels)};
}

void run(char** argv) {
  const PixelFormat& format = formatNamed(argv[2]);
  struct stat source = {};
  struct stat target = {};
  if (stat(argv[1], &source) == 0 && stat(argv[3], &target) == 0 && sameFile(source, target)) {
    throw std::runtime_error(std::string(argv[3]) + ": this is the picture itself");
  }
  const Picture picture = readPicture(argv[1]);
  const auto pixelAt = [&](std::int64_t x, std::int64_t y) {
    return picture.pixels[static_cast<std::size_t>(y * picture.width + x)];
  };
  // Without a file the command would be useless, and might end up among the pixels.
  if (writeRawFile(argv[3], format, picture.width, picture.height, pixelAt)) {
    std::printf("planeshow -i %s -f %s -w %u -h %u\n", quoted(argv[3]).c_str(), format.name,
                picture.width, picture.height);
  }
}

}  // namespace

int main(int argc, char** argv) {
  return runCompanion(argc, argv, "planeshow-convert", "PICTURE.png FORMAT FILE",
                      "Makes a raw image from a PNG, and prints the command that shows it.", run);
}
