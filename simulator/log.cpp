#include "simulator/log.h"

#include <sys/stat.h>

#include <cstring>

#include "simulator/settings.h"
#include "tools/output.h"

namespace sim {

namespace {

// Opens the file for each line, so that the tool's descriptors have their usual numbers.
void append(const std::string& text) {
  const std::string& path = settings().log;
  fillFile(File(std::fopen(path.c_str(), "ae"), std::fclose), path,
           [&](std::FILE* file) { require(std::fputs(text.c_str(), file) >= 0, path); });
}

}  // namespace

bool logging() { return !settings().log.empty(); }

void startLog() {
  struct stat there = {};
  if (stat(settings().log.c_str(), &there) == 0 && S_ISFIFO(there.st_mode)) {
    reject("LOG", settings().log, "a pipe, whose reader would see an end of file after each line");
  }
  std::string why;
  try {
    logging() ? append("") : void();
  } catch (const std::system_error& failure) {
    why = failure.code().message();
  }
  if (!why.empty()) {
    reject("LOG", settings().log, why);
  }
}

void logLine(const std::string& line) {
  try {
    logging() ? append(line + "\n") : void();
  } catch (const std::exception& failure) {
    static bool complained = false;
    if (!complained) {
      complain("the log is incomplete: " + std::string(failure.what()));
    }
    complained = true;
  }
}

std::string resultText(int result) {
  return " = " +
         (result < 0 ? std::string("-1 ") + strerrorname_np(-result) : std::to_string(result));
}

}  // namespace sim
