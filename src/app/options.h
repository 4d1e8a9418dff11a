#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The settings of one run, as the command line gave them.
struct Cmdoptions {
  std::string input;
  std::string format = "ARGB8888";
  bool afbc = false;
  std::int32_t width = 0;  // image size, pixels
  std::int32_t height = 0;
  std::vector<std::int32_t> window;  // x, y, width, height on the screen
  std::vector<std::int32_t> crop;    // x, y, width, height in the image
  std::int32_t target = 0;
  bool fastlogo = false;
  bool debug = false;
  bool blank = false;
  bool swap = false;            // accepted, not used
  std::int32_t colorIndex = 0;  // accepted, not used
};

// Parses the process's arguments and leaves them unchanged. The result has exactly four window and
// four crop values, and an input unless blank is set. With --help or a wrong command line, it
// prints the help, a message or both to standard output, and ends the process with status 0.
Cmdoptions parseArgs(int argc, const char** argv);
