#include "common/debug.h"

#include <cerrno>
#include <cstdio>

const Debug Debug::gDebugInstance;

void printMessage(const char* format, std::va_list args) {
  const int savedErrno = errno;  // writing fails if stdout is closed or full
  char text[1024] = {};
  std::vsnprintf(text, sizeof text, format, args);
  std::puts(text);
  errno = savedErrno;
}

void Debug::error(const char* format, ...) const {
  std::va_list args;
  va_start(args, format);
  printMessage(format, args);
  va_end(args);
}
