#include "simulator/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "simulator/settings.h"
#include "src/common/uniquefd.h"
#include "tools/companion.h"

namespace sim {

namespace {

// Opens the file for each line, so that the tool's descriptors have their usual numbers. A pipe
// that nobody reads is an error, and not waited for. Returns false with errno set if it fails.
bool append(const std::string& text) {
  orvan::uniquefd file;
  file.reset(
      open(settings().log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666));
  std::size_t done = 0;
  for (ssize_t written = 0; file.get() != -1 && done < text.size() && written != -1;) {
    written = write(file.get(), &text[done], text.size() - done);
    done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
  }
  return file.get() != -1 && done == text.size();
}

}  // namespace

bool logging() { return !settings().log.empty(); }

void startLog() {
  if (logging() && !append("")) {
    reject("LOG", settings().log, strerror(errno));
  }
}

void logLine(const std::string& line) {
  static bool complained = false;
  if (logging() && !append(line + "\n") && !complained) {
    complain("the log is incomplete: " + settings().log + ": " + strerror(errno));
    complained = true;
  }
}

std::string resultText(int result) {
  return " = " +
         (result < 0 ? std::string("-1 ") + strerrorname_np(-result) : std::to_string(result));
}

}  // namespace sim
