#pragma once

#include <cstdarg>

// Writes a message and a newline to standard output. Text beyond 1023 bytes is cut. errno stays as
// it was, so that a caller can still name the cause in a line of its own.
[[gnu::format(printf, 1, 0)]] void printMessage(const char* format, std::va_list args);

// Prints the tool's failures.
class Debug {
 public:
  // Prints one line. The first argument after the format is the operation's name.
  [[gnu::format(printf, 2, 3)]] void error(const char* format, ...) const;

  static const Debug gDebugInstance;
};
