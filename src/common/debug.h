#pragma once

#include <cstdarg>

// How failure messages leave the tool: formatted into 1024 bytes (text beyond 1023 characters is
// cut) and written to standard output with a newline. errno stays as it was, so a caller may still
// word its own line after a callee has printed.
[[gnu::format(printf, 1, 0)]] void printMessage(const char* format, std::va_list args);

// Failure reports of the tool.
class Debug {
 public:
  // Reports one line. The first argument is the name of the reporting operation.
  [[gnu::format(printf, 2, 3)]] void error(const char* format, ...) const;

  static const Debug gDebugInstance;
};
