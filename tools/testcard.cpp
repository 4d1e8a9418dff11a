// Writes a raw test card: what goes wrong between a file and a screen is seen on it at a glance.

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Colour {
  std::uint8_t red, green, blue;
};

constexpr Colour kBlack{0, 0, 0};
constexpr Colour kWhite{255, 255, 255};
constexpr Colour kBars[] = {kWhite,        {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                            {255, 0, 255}, {255, 0, 0},   {0, 0, 255},   kBlack};

// Three columns by five rows, the top left pixel in the highest of 15 bits.
struct Glyph {
  char letter;
  unsigned bits;
};
constexpr Glyph kGlyphs[] = {
    {'0', 075557}, {'1', 026227}, {'2', 071747}, {'3', 071717}, {'4', 055711},
    {'5', 074717}, {'6', 074757}, {'7', 071111}, {'8', 075757}, {'9', 075717},
    {'A', 025755}, {'B', 065656}, {'G', 034553}, {'R', 065655}, {'x', 005250},
};

struct Format {
  std::string_view name;
  std::size_t bytes;  // per pixel
};
constexpr Format kFormats[] = {{"ARGB8888", 4}, {"RGB888", 3}, {"RGB565", 2}};

// The card, from top to bottom: bars, a ramp from black to white, a line of text.
class Card {
 public:
  Card(std::int64_t width, std::int64_t height, std::string text)
      : mWidth(width), mHeight(height), mText(std::move(text)) {}

  Colour at(std::int64_t x, std::int64_t y) const {
    if (x == 0 || y == 0 || x == mWidth - 1 || y == mHeight - 1) {
      return kWhite;
    }
    const bool left = x < mMark;
    const bool top = y < mMark;
    if ((left || x >= mWidth - mMark) && (top || y >= mHeight - mMark)) {
      return mark(left, top, left ? x : mWidth - 1 - x, top ? y : mHeight - 1 - y);
    }
    // Twice the distance from the centre, which lies between two pixels of an even size.
    const std::int64_t across = std::abs(2 * x + 1 - mWidth);
    const std::int64_t along = std::abs(2 * y + 1 - mHeight);
    const std::int64_t narrow = std::min(across, along);
    if (std::max(across, along) < 2 * mMark && narrow < 6) {
      return narrow < 2 ? kWhite : kBlack;
    }
    return background(x, y);
  }

 private:
  // A full red square, a green frame, a blue triangle and a yellow diagonal: mirrored or turned, no
  // corner is taken for another, whatever became of the colours.
  Colour mark(bool left, bool top, std::int64_t fromSide, std::int64_t fromEdge) const {
    if (left && top) {
      return kBars[5];
    }
    if (top) {
      const std::int64_t frame = mMark / 4;
      const bool inside = fromSide >= frame && fromEdge >= frame && fromSide < mMark - frame &&
                          fromEdge < mMark - frame;
      return inside ? kBlack : kBars[3];
    }
    if (left) {
      return fromSide + fromEdge < mMark ? kBars[6] : kBlack;
    }
    return (fromSide - fromEdge) * (fromSide - fromEdge) * 25 < mMark * mMark ? kBars[1] : kBlack;
  }

  Colour background(std::int64_t x, std::int64_t y) const {
    if (y < mHeight * 3 / 5) {
      return kBars[x * 8 / mWidth];
    }
    if (y < mHeight * 4 / 5) {
      const auto grey = static_cast<std::uint8_t>(x * 255 / (mWidth - 1));
      return {grey, grey, grey};
    }
    return inText(x, y) ? kWhite : kBlack;
  }

  bool inText(std::int64_t x, std::int64_t y) const {
    const auto columns = static_cast<std::int64_t>(mText.size()) * 4;
    const std::int64_t scale = std::min((mWidth - 2 * mMark) / columns, mHeight / 40);
    const std::int64_t left = (mWidth - columns * scale) / 2;
    const std::int64_t top = mHeight * 9 / 10 - scale * 5 / 2;
    if (scale == 0 || x < left || y < top || x >= left + columns * scale || y >= top + 5 * scale) {
      return false;
    }
    const std::int64_t column = (x - left) / scale;
    const std::int64_t row = (y - top) / scale;
    for (const Glyph& glyph : kGlyphs) {
      if (glyph.letter == mText[static_cast<std::size_t>(column / 4)] && column % 4 < 3) {
        return (glyph.bits >> (14 - row * 3 - column % 4) & 1) != 0;
      }
    }
    return false;
  }

  std::int64_t mWidth;
  std::int64_t mHeight;
  std::int64_t mMark = std::min(mWidth, mHeight) / 10;  // side of a corner mark
  std::string mText;
};

// Little-endian fourcc order: the name's last letter comes first in memory.
void encode(Colour c, std::size_t bytes, std::uint8_t* to) {
  if (bytes == 2) {
    const int value = c.red >> 3 << 11 | c.green >> 2 << 5 | c.blue >> 3;
    to[0] = static_cast<std::uint8_t>(value);
    to[1] = static_cast<std::uint8_t>(value >> 8);
    return;
  }
  to[0] = c.blue;
  to[1] = c.green;
  to[2] = c.red;
  if (bytes == 4) {
    to[3] = 255;
  }
}

int complain(const std::string& what) {
  std::fprintf(stderr, "planeshow-testcard: %s\n", what.c_str());
  return 1;
}

int run(int argc, char** argv) {
  if (argc != 4) {
    return complain("usage: planeshow-testcard FORMAT WIDTHxHEIGHT FILE");
  }
  const Format* format = nullptr;
  for (const Format& known : kFormats) {
    format = known.name == argv[1] ? &known : format;
  }
  if (format == nullptr) {
    return complain(std::string(argv[1]) + ": the formats are ARGB8888, RGB888 and RGB565");
  }
  std::int32_t width = 0;
  std::int32_t height = 0;
  const char* const end = argv[2] + std::strlen(argv[2]);
  const char* const by = std::from_chars(argv[2], end, width).ptr;
  const bool sized = by < end && *by == 'x' && std::from_chars(by + 1, end, height).ptr == end;
  const auto pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  if (!sized || width < 1 || height < 1 || pixels > UINT32_MAX / format->bytes) {
    return complain(std::string(argv[2]) +
                    ": the size is WIDTHxHEIGHT, both 1 or more, and a card has less than 4 GiB");
  }

  const std::string path = argv[3];
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    return complain(path + ": " + std::strerror(errno));
  }
  const Card card(width, height, std::string(format->name) + " " + argv[2]);
  std::vector<std::uint8_t> row(static_cast<std::size_t>(width) * format->bytes);
  bool written = true;
  std::int64_t percent = 0;
  for (std::int64_t y = 0; y < height && written; ++y) {
    std::uint8_t* to = row.data();
    for (std::int64_t x = 0; x < width; ++x, to += format->bytes) {
      encode(card.at(x, y), format->bytes, to);
    }
    written = std::fwrite(row.data(), row.size(), 1, file) == 1;
    if (pixels > 50'000'000 && (y + 1) * 100 / height >= percent + 10) {
      percent += 10;
      std::fprintf(stderr, "planeshow-testcard: %d %%\n", static_cast<int>(percent));
    }
  }
  const int error = errno;
  const bool closed = std::fclose(file) == 0;
  if (!written || !closed) {
    return complain(path + ": " + std::strerror(written ? errno : error));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    return complain("there is not enough memory for a row of this width");
  }
}
