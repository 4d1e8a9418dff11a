#pragma once

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "app/version.h"
#include "common/standard_descriptors.h"

// What the programs of this folder and the simulated devices share. An error that ends the program
// is thrown, and its text is the line that is printed.

inline const char* programName = "";  // stands before each message; main sets it

inline void complain(const std::string& what) {
  std::fprintf(stderr, "%s: %s\n", programName, what.c_str());
}

// Unless done, throws the error of the last system call, with the path.
inline void require(bool done, const std::string& path) {
  if (!done) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

// Reads a number of 1 or more. The text must hold nothing else.
template <typename Number>
bool parseNumber(std::string_view text, Number& number) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && stop == text.data() + text.size() && number > 0;
}

// Reads "640x480", both 1 or more.
inline bool parseSize(std::string_view text, std::int32_t& width, std::int32_t& height) {
  const std::size_t by = text.find('x');
  return by != std::string_view::npos && parseNumber(text.substr(0, by), width) &&
         parseNumber(text.substr(by + 1), height);
}

// Runs the program if it got its three arguments. Otherwise prints its help, its version or an
// error. Returns the exit status.
inline int runCompanion(int argc, char** argv, const char* name, const std::string& usage,
                        const char* purpose, void (*run)(char** argv)) {
  programName = name;
  fillStandardDescriptors();
  std::signal(SIGXFSZ, SIG_IGN);  // a file at its size limit is an ordinary error,
  std::signal(SIGPIPE, SIG_IGN);  // and so is a reader that has gone
  try {
    const std::string_view option = argc == 2 ? argv[1] : "";
    if (option == "--help") {
      std::printf("Usage: %s %s\n%s\n", name, usage.c_str(), purpose);
    } else if (option == "--version") {
      std::printf("%s " PLANESHOW_VERSION "\n", name);
    } else if (argc == 4) {
      run(argv);
    } else {
      throw std::runtime_error("usage: " + std::string(name) + " " + usage);
    }
    require(std::fflush(stdout) == 0, "standard output");
    return 0;
  } catch (const std::bad_alloc&) {
    complain("there is not enough memory");
  } catch (const std::exception& failure) {
    complain(failure.what());
  }
  return 1;
}
