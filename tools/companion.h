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

#include "src/common/standard_descriptors.h"

// How the programs of this folder start and what they say. What ends one early is thrown, as the
// line that it prints.

inline void complain(const std::string& what) {
  std::fprintf(stderr, PROGRAM ": %s\n", what.c_str());
}

// Fails with the cause of the last system call if it wasn't done.
inline void require(bool done, const std::string& path) {
  if (!done) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

// Reads "640x480", both 1 or more.
inline bool parseSize(std::string_view text, std::int32_t& width, std::int32_t& height) {
  width = 0;
  height = 0;
  const char* const end = text.data() + text.size();
  const char* const by = std::from_chars(text.data(), end, width).ptr;
  return by < end && *by == 'x' && std::from_chars(by + 1, end, height).ptr == end && width > 0 &&
         height > 0;
}

// Runs the program, if its arguments are as the usage line has them, or says what it is. Returns
// the exit status.
inline int runCompanion(int argc, char** argv, bool complete, const char* usage,
                        const char* purpose, int (*run)(int argc, char** argv)) {
  fillStandardDescriptors();
  std::signal(SIGXFSZ, SIG_IGN);  // a file at its limit is an error like others,
  std::signal(SIGPIPE, SIG_IGN);  // and so is a reader that has gone
  try {
    int status = 0;
    const std::string_view option = argc == 2 ? argv[1] : "";
    if (option == "--help") {
      std::printf("Usage: " PROGRAM " %s\n%s\n", usage, purpose);
    } else if (option == "--version") {
      std::puts(PROGRAM " " PLANESHOW_VERSION);
    } else if (complete) {
      status = run(argc, argv);
    } else {
      throw std::runtime_error(std::string("usage: " PROGRAM " ") + usage);
    }
    require(std::fflush(stdout) == 0, "standard output");
    return status;
  } catch (const std::bad_alloc&) {
    complain("there is not enough memory");
  } catch (const std::exception& failure) {
    complain(failure.what());
  }
  return 1;
}
