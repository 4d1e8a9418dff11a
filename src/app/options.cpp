#include "app/options.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "app/formats.h"
#include "app/version.h"

// The parser's own conversion lets some numbers wrap (5000000000 became 705032704) and recurses
// once per digit. Its int and list options use this specialisation instead, as it is declared
// before the header. No other file may include the header without it (one-definition rule).
namespace cxxopts::values {
template <typename T>
void integer_parser(const std::string& text, T& value);
template <>
void integer_parser(const std::string& text, std::int32_t& value);
}  // namespace cxxopts::values

#include <cxxopts.hpp>

// Release 2.2.0 lacks this function, and reads the default of a list twice.
static_assert(noexcept(cxxopts::OptionValue().has_default()), "take cxxopts 2.2.1, not 2.2.0");

// Reads a decimal number, or a hexadecimal one after "0x". Either may start with "-".
template <>
void cxxopts::values::integer_parser(const std::string& text, std::int32_t& value) {
  std::string_view digits = text;
  const bool negative = digits.substr(0, 1) == "-";
  digits.remove_prefix(negative ? 1 : 0);
  const bool hexadecimal = digits.substr(0, 2) == "0x";
  digits.remove_prefix(hexadecimal ? 2 : 0);

  std::uint32_t magnitude = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, magnitude, hexadecimal ? 16 : 10);
  const std::uint32_t limit = std::uint32_t{INT32_MAX} + (negative ? 1 : 0);
  if (error != std::errc() || stop != end || magnitude > limit) {
    throw argument_incorrect_type(text);
  }
  value = static_cast<std::int32_t>(negative ? -std::int64_t{magnitude} : std::int64_t{magnitude});
}

namespace {

const char* const kBanner =
    "\nQM710 OSD Display Test Tool\n"
    "Version: " PLANESHOW_VERSION "\nContact: the planeshow maintainers\n";

// One name a line, centred in eight columns after four blanks.
std::string formatList() {
  std::string list;
  for (const auto& [name, code] : formatTable) {
    const std::size_t blanks = 8 - std::min<std::size_t>(8, name.size());
    list.append(4 + blanks / 2, ' ').append(name).append(blanks - blanks / 2, ' ') += '\n';
  }
  return list;
}

std::string helpText(const cxxopts::Options& parser) {
  // The parser shows no quotes for an empty default.
  const std::string_view shown = "(default: )";
  std::string text = parser.help({});
  const std::size_t at = text.find(shown);
  return at == std::string::npos ? text : text.replace(at, shown.size(), "(default: \"\")");
}

// How to match without recursion. libstdc++ recurses once per character unless this flag of its own
// selects another algorithm. libc++ never recurses.
#ifdef __GLIBCXX__
constexpr auto kMatching = std::regex::ECMAScript | std::regex_constants::__polynomial;
#else
constexpr auto kMatching = std::regex::ECMAScript;
#endif

// The parser splits arguments with a regular expression that overflows a stack of 256 KiB at about
// 800 characters, and whose "." stops at a line break. This one finds the same groups and does
// neither. Compiling it takes half as long as a whole run, so it is done only when needed.
void matchAnyLength(const std::vector<char*>& args) {
  const auto isHard = [](std::string_view arg) {
    return arg.size() > 250 || arg.find_first_of("\r\n") != std::string_view::npos;
  };
  if (std::any_of(args.begin() + 1, args.end(), isHard)) {
    cxxopts::option_matcher.assign(
        "--([[:alnum:]][-_[:alnum:]]+)(=((?:.|[\r\n])*))?|-([[:alnum:]]+)", kMatching);
  }
}

[[noreturn]] void rejectWithHelp(const char* message, const cxxopts::Options& parser) {
  std::cout << '\n' << message << '\n' << helpText(parser) << std::endl;
  std::exit(0);
}

}  // namespace

Cmdoptions parseArgs(int argc, const char** argv) {
  Cmdoptions options;
  cxxopts::Options parser("planeshow", kBanner);
  using cxxopts::value;
  using Ints = std::vector<std::int32_t>;
  // clang-format off
  parser.add_options()
    ("i,input", "image file name", value<std::string>(options.input)->default_value(""))
    ("f,format", "fmt", value<std::string>(options.format)->default_value("ARGB8888"))
    ("afbc", "afbc compress enabled", value<bool>(options.afbc)->default_value("false"))
    ("w,width", "image width", value<std::int32_t>(options.width)->default_value("720"))
    ("h,height", "image height", value<std::int32_t>(options.height)->default_value("480"))
    ("o,window", "display window", value<Ints>(options.window)->default_value("0,0,1920,1080"))
    ("c,crop", "image crop", value<Ints>(options.crop)->default_value("0,0,0,0"))
    ("t,target", "target output channel", value<std::int32_t>(options.target)->default_value("1"))
    ("fastlogo", "enable fastlogo mode", value<bool>(options.fastlogo)->default_value("false"))
    ("blank", "blank output", value<bool>(options.blank)->default_value("false"))
    ("swap", "swap argb", value<bool>(options.swap)->default_value("false"))
    ("colorIndex", "test argb color", value<std::int32_t>(options.colorIndex)->default_value("0"))
    ("debug", "enable debug print", value<bool>(options.debug)->default_value("false"))
    ("help", "print usage", value<bool>())
    ("v,verbose", "print detail input args", value<bool>());
  // clang-format on

  try {
    // The parser rearranges its list, so it gets a copy. It reads past an empty list, so the copy
    // has a place for the program name even if the caller passed none.
    std::vector<char*> copies(static_cast<std::size_t>(std::max(argc, 1)));
    std::transform(argv, argv + argc, copies.begin(),
                   [](const char* arg) { return const_cast<char*>(arg); });
    matchAnyLength(copies);
    int count = static_cast<int>(copies.size());
    char** list = copies.data();
    const cxxopts::ParseResult result = parser.parse(count, list);

    if (result.count("help") > 0) {
      std::cout << helpText(parser) << '\n' << "Supported Formats:\n" << formatList() << std::endl;
      std::exit(0);
    }
    if (options.input.empty() && !options.blank) {
      rejectWithHelp("ERROR: please specify the input file name!", parser);
    }
    if (options.window.size() != 4 || options.crop.size() != 4) {
      rejectWithHelp("ERROR: please specify the correct image crop or output window!", parser);
    }
    return options;
  } catch (const cxxopts::OptionException& error) {
    std::cout << "error parsing options: " << error.what() << std::endl;
  }
  std::exit(0);  // out here, after the error has been released
}
