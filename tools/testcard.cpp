#include <algorithm>
#include <cstdlib>
#include <utility>

#include "tools/output.h"

namespace {

constexpr Pixel grey(std::int64_t value) {
  const auto level = static_cast<std::uint8_t>(value);
  return {{level, level, level}, 255};
}

constexpr Pixel kBlack = grey(0);
constexpr Pixel kBlue{{0, 0, 255}, 255};
constexpr Pixel kGreen{{0, 255, 0}, 255};
constexpr Pixel kCyan{{0, 255, 255}, 255};
constexpr Pixel kRed{{255, 0, 0}, 255};
constexpr Pixel kMagenta{{255, 0, 255}, 255};
constexpr Pixel kYellow{{255, 255, 0}, 255};
constexpr Pixel kWhite = grey(255);
constexpr Pixel kBars[] = {kWhite, kYellow, kCyan, kGreen, kMagenta, kRed, kBlue, kBlack};

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

// The card, from top to bottom: bars with small steps at the foot of white and black, a ramp from
// black to white, the same ramp made by alpha, a chess board of single pixels beside columns of red
// and blue, a line of text.
class Card {
 public:
  Card(std::int64_t width, std::int64_t height, std::string text)
      : mWidth(width), mHeight(height), mText(std::move(text)) {}

  Pixel at(std::int64_t x, std::int64_t y) const {
    if (x == 0 || y == 0 || x == mWidth - 1 || y == mHeight - 1) {
      return kWhite;
    }
    const bool left = x < mMark;
    const bool top = y < mMark;
    if ((left || x >= mWidth - mMark) && (top || y >= mHeight - mMark)) {
      return mark(left, top, left ? x : mWidth - 1 - x, top ? y : mHeight - 1 - y);
    }
    // Twice the distance from the centre: in an even size, the centre lies between two pixels.
    const std::int64_t across = std::abs(2 * x + 1 - mWidth);
    const std::int64_t along = std::abs(2 * y + 1 - mHeight);
    const std::int64_t narrow = std::min(across, along);
    if (std::max(across, along) < 2 * mMark && narrow < 6) {
      return narrow < 2 ? kWhite : kBlack;
    }
    return background(x, y);
  }

 private:
  // A full red square, a green frame, a blue triangle and a yellow diagonal: the corners can be
  // told apart in a mirrored or turned picture, even if its colours are wrong.
  Pixel mark(bool left, bool top, std::int64_t fromSide, std::int64_t fromEdge) const {
    if (left && top) {
      return kRed;
    }
    if (top) {
      const std::int64_t frame = mMark / 4;
      const bool inside = fromSide >= frame && fromEdge >= frame && fromSide < mMark - frame &&
                          fromEdge < mMark - frame;
      return inside ? kBlack : kGreen;
    }
    if (left) {
      return fromSide + fromEdge < mMark ? kBlue : kBlack;
    }
    return (fromSide - fromEdge) * (fromSide - fromEdge) * 25 < mMark * mMark ? kYellow : kBlack;
  }

  Pixel background(std::int64_t x, std::int64_t y) const {
    if (y < mHeight * 3 / 5) {
      const std::int64_t bar = x * 8 / mWidth;
      if (y >= mHeight / 2 && (bar == 0 || bar == 7)) {
        // At the foot of white and black, small steps: a range that is cut or squeezed loses some.
        const std::int64_t step = x * 32 / mWidth % 4 * 8;
        return grey(bar == 0 ? 255 - step : step);
      }
      return kBars[bar];
    }
    if (y < mHeight * 4 / 5) {
      // On black, both halves look the same. The lower one lets anything else shine through.
      const auto level = static_cast<std::uint8_t>(x * 255 / (mWidth - 1));
      return y < mHeight * 7 / 10 ? grey(level) : Pixel{kWhite.colour, level};
    }
    if (y < mHeight * 17 / 20) {
      if (x < mWidth / 2) {
        return (x + y) % 2 == 0 ? kWhite : kBlack;
      }
      return x % 2 == 0 ? kRed : kBlue;
    }
    return inText(x, y) ? kWhite : kBlack;
  }

  bool inText(std::int64_t x, std::int64_t y) const {
    const auto columns = static_cast<std::int64_t>(mText.size()) * 4;
    const std::int64_t scale = std::min((mWidth - 2 * mMark) / columns, mHeight / 40);
    const std::int64_t left = (mWidth - columns * scale) / 2;
    const std::int64_t top = (mHeight * 37 / 20 - 5 * scale) / 2;
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

void run(char** argv) {
  const PixelFormat& format = formatNamed(argv[1]);
  const std::string size = argv[2];
  std::int32_t width = 0;
  std::int32_t height = 0;
  if (!parseSize(size, width, height) || !fitsRawFile(format, width, height)) {
    throw std::runtime_error(
        size + ": the size is WIDTHxHEIGHT, both 1 or more, and a card has less than 4 GiB");
  }
  const Card card(width, height, std::string(format.name) + " " + size);
  const auto pixelAt = [&](std::int64_t x, std::int64_t y) { return card.at(x, y); };
  writeRawFile(argv[3], format, width, height, pixelAt);
}

}  // namespace

int main(int argc, char** argv) {
  return runCompanion(
      argc, argv, "planeshow-testcard", "FORMAT WIDTHxHEIGHT FILE",
      "Writes a raw test card that shows what went wrong between the file and the screen.", run);
}
