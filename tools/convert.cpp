// Makes a raw image from a PNG, and says how to show it.

#include <png.h>

#include <utility>

#include "tools/output.h"

namespace {

// As one word for the shell.
std::string quoted(const std::string& text) {
  const bool plain = text.find_first_not_of(
                         "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                         "0123456789_-+=./:,@%") == std::string::npos;
  std::string word;
  for (const char letter : text) {
    word += letter == '\'' ? "'\\''" : std::string(1, letter);
  }
  return plain ? text : "'" + word + "'";
}

struct Picture {
  std::uint32_t width, height;
  std::unique_ptr<Pixel[]> pixels;
};

// Gives the picture's own values: libpng's simplified interface would change them by the picture's
// gamma, and mixes the rows up where 16-bit values are interlaced.
Picture readPicture(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  require(file != nullptr, path);
  png_structp png = png_create_read_struct(
      PNG_LIBPNG_VER_STRING, const_cast<std::string*>(&path),
      [](png_structp failed, png_const_charp message) {
        const auto& name = *static_cast<const std::string*>(png_get_error_ptr(failed));
        throw std::runtime_error(name + ": " + message);
      },
      [](png_structp, png_const_charp /*warning*/) {});
  png_infop info = png_create_info_struct(png);
  const std::shared_ptr<void> freed(nullptr,
                                    [&](void*) { png_destroy_read_struct(&png, &info, nullptr); });
  require(info != nullptr, path);
  png_init_io(png, file.get());
  png_read_info(png, info);
  const std::uint32_t width = png_get_image_width(png, info);
  const std::uint32_t height = png_get_image_height(png, info);
  if (!fitsRawFile(kPixelFormats[0], width, height)) {
    png_error(png, "too large, its pixels would fill 4 GiB or more");
  }
  png_set_expand(png);
  png_set_scale_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 255, PNG_FILLER_AFTER);
  const int passes = png_set_interlace_handling(png);
  Progress progress{PROGRAM, "reading", std::uint64_t{height} * static_cast<unsigned>(passes)};
  // Uninitialised: a header that promises more than the file has costs no memory.
  std::unique_ptr<Pixel[]> pixels(new Pixel[std::size_t{width} * height]);
  for (std::uint64_t row = 0; row < progress.whole; ++row) {
    png_read_row(png, reinterpret_cast<png_bytep>(&pixels[row % height * width]), nullptr);
    progress.at(row);
  }
  png_read_end(png, nullptr);
  return {width, height, std::move(pixels)};
}

int run(int /*argc*/, char** argv) {
  const PixelFormat& format = formatNamed(argv[2]);
  const Picture picture = readPicture(argv[1]);
  writeRawFile(argv[3], format, picture.width, picture.height, [&](std::int64_t x, std::int64_t y) {
    return picture.pixels[static_cast<std::size_t>(y * picture.width + x)];
  });
  std::printf("planeshow -i %s -f %s -w %u -h %u\n", quoted(argv[3]).c_str(), format.name,
              picture.width, picture.height);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return runCompanion(
      argc, argv, argc == 4, "PICTURE.png FORMAT FILE",
      "Makes a raw image of a PNG's own values, and prints the command that shows it.", run);
}
