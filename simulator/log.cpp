#include "simulator/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/uniquefd.h"
#include "simulator/settings.h"
#include "tools/output.h"

namespace sim {

namespace {

// Opens the file for each line, so that the tool's descriptors have their usual numbers. A pipe
// that nobody reads is an error, and not waited for. Returns 0 or the errno.
int append(const std::string& text) {
  orvan::uniquefd file;
  file.reset(
      open(settings().log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666));
  if (file.get() == -1) {
    return errno;
  }
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = write(file.get(), &text[done], text.size() - done);
    if (written == -1) {
      return errno;
    }
    done += static_cast<std::size_t>(written);
  }
  return 0;
}

}  // namespace

bool logging() { return !settings().log.empty(); }

void startLog() {
  const int error = logging() ? append("") : 0;
  if (error != 0) {
    reject("LOG", settings().log, strerror(error));
  }
  // If the output goes to the log's own file, it must not overwrite the log's lines.
  struct stat log = {};
  for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
    if (stat(settings().log.c_str(), &log) == 0 && S_ISREG(log.st_mode) && hasOpen(fd, log)) {
      fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_APPEND);
    }
  }
}

void logLine(const std::string& line) {
  static bool complained = false;
  const int error = logging() ? append(line + "\n") : 0;
  if (error != 0 && !complained) {
    complain("the log is incomplete: " + settings().log + ": " + strerror(error));
    complained = true;
  }
}

std::string resultText(int result) {
  return " = " +
         (result < 0 ? std::string("-1 ") + strerrorname_np(-result) : std::to_string(result));
}

}  // namespace sim
