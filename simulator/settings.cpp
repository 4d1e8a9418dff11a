#include "settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>

namespace sim {

namespace {

[[noreturn]] void reject(const char* name, const std::string& value, const char* why) {
  dprintf(STDERR_FILENO, "planeshow-sim: %s=%s: %s\n", name, value.c_str(), why);
  _exit(2);
}

// The variable's value, or the first of the choices if it isn't set. No choices: any value.
std::string read(const char* name, const std::vector<std::string>& choices) {
  const char* const value = getenv(name);
  if (value == nullptr || *value == '\0') {
    return choices.empty() ? "" : choices[0];
  }
  bool known = choices.empty();
  for (const std::string& choice : choices) {
    known = known || choice == value;
  }
  return known ? value : (reject(name, value, "not one of its values"), "");
}

int errnoOf(const std::string& name) {
  for (int error = 1; error < 200; ++error) {
    const char* const known = strerrorname_np(error);
    if (known != nullptr && name == known) {
      return error;
    }
  }
  return 0;
}

// request:answer[:n[+]], the answer an errno's name, a positive number or "nofd".
bool parseFault(const std::string& text, Fault& fault) {
  static const std::regex pattern(
      "(alloc|share|free|fastlogo|put|present|map):(E\\w+|[1-9]\\d{0,8}|nofd)(:([1-9]\\d{0,8})(\\+)"
      "?)?");
  std::smatch match;
  if (!std::regex_match(text, match, pattern)) {
    return false;
  }
  fault.request = match[1];
  const std::string answer = match[2];
  fault.answer = answer[0] == 'E' ? -errnoOf(answer) : atoi(answer.c_str());
  fault.first = match[4].matched ? static_cast<unsigned>(std::stoul(match[4])) : 1;
  fault.andFollowing = !match[3].matched || match[5].matched;
  const bool yieldsDescriptor = fault.request == "alloc" || fault.request == "share";
  return answer == "nofd" ? yieldsDescriptor
                          : fault.answer < 0 || (fault.answer > 0 && fault.request != "map");
}

Settings readSettings() {
  Settings settings;
  settings.ion = read("PLANESHOW_SIM_ION", {"modern", "legacy", "absent", "forbidden"});
  settings.ge2d = read("PLANESHOW_SIM_GE2D", {"present", "absent", "forbidden"});
  settings.log = read("PLANESHOW_SIM_LOG", {});
  settings.state = read("PLANESHOW_SIM_STATE", {});
  const std::string memory = read("PLANESHOW_SIM_MEMORY", {});
  char* end = nullptr;
  if (!memory.empty()) {
    settings.memory = strtoull(memory.c_str(), &end, 10);
    if (*end != '\0') {
      reject("PLANESHOW_SIM_MEMORY", memory, "not a number of bytes");
    }
  }
  std::istringstream faults(read("PLANESHOW_SIM_FAIL", {}));
  for (std::string text; std::getline(faults, text, ',');) {
    Fault fault = {};
    if (!parseFault(text, fault)) {
      reject("PLANESHOW_SIM_FAIL", text, "not request:answer[:n[+]]");
    }
    settings.faults.push_back(fault);
  }
  return settings;
}

// Before main, so that a bad setting is seen whatever the run does.
[[gnu::constructor]] void checkSettings() {
  const char* const log = settings().log.c_str();
  const int fd = *log == '\0' ? -1 : open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (*log != '\0' && fd < 0) {
    reject("PLANESHOW_SIM_LOG", log, strerrordesc_np(errno));
  }
  close(fd);
}

}  // namespace

Settings& settings() {
  static Settings& settings = *new Settings(readSettings());  // used until the last exit handler
  return settings;
}

const Fault* nextFault(const std::string& request) {
  for (Fault& fault : settings().faults) {
    if (fault.request == request) {
      ++fault.seen;
      if (fault.seen == fault.first || (fault.andFollowing && fault.seen > fault.first)) {
        return &fault;
      }
    }
  }
  return nullptr;
}

}  // namespace sim
