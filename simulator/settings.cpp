#include "settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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

template <typename Number>
bool parseNumber(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end && number > 0;
}

// request:answer[:n[+]], the answer an errno's name, a positive number or "nofd".
bool parseFault(const std::string& text, bool legacy, Fault& fault) {
  std::vector<std::string> pieces = split(text, ':');
  if (pieces.size() == 2) {
    pieces.emplace_back("1+");
  }
  if (pieces.size() != 3 || pieces[2].empty() || text.back() == ':') {
    return false;
  }
  fault.request = pieces[0];
  fault.andFollowing = pieces[2].back() == '+';
  if (fault.andFollowing) {
    pieces[2].pop_back();
  }
  const bool yieldsDescriptor = (fault.request == "alloc" && !legacy) || fault.request == "share";
  const bool isRequest = yieldsDescriptor || fault.request == "alloc" || fault.request == "free" ||
                         fault.request == "put" || fault.request == "present" ||
                         fault.request == "fastlogo";
  fault.answer = -errnoOf(pieces[1]);
  const bool fits = fault.answer < 0      ? isRequest || fault.request == "map"
                    : pieces[1] == "nofd" ? yieldsDescriptor
                                          : isRequest && parseNumber(pieces[1], fault.answer);
  return fits && parseNumber(pieces[2], fault.first);
}

Settings readSettings() {
  Settings found;
  found.ion = read("PLANESHOW_SIM_ION", {"modern", "legacy", "absent", "forbidden"});
  found.ge2d = read("PLANESHOW_SIM_GE2D", {"present", "absent", "forbidden"});
  found.log = read("PLANESHOW_SIM_LOG", {});
  found.state = read("PLANESHOW_SIM_STATE", {});
  const std::string memory = read("PLANESHOW_SIM_MEMORY", {});
  if (!memory.empty() && !parseNumber(memory, found.memory)) {
    reject("PLANESHOW_SIM_MEMORY", memory, "not a number of bytes");
  }
  for (const std::string& text : split(read("PLANESHOW_SIM_FAIL", {}), ',')) {
    Fault fault = {};
    if (!parseFault(text, found.ion == "legacy", fault)) {
      reject("PLANESHOW_SIM_FAIL", text, "not request:answer[:n[+]]");
    }
    found.faults.push_back(fault);
  }
  return found;
}

// Before main, so that a bad setting is seen whatever the run does.
[[gnu::constructor]] void checkSettings() {
  const std::string& log = settings().log;
  if (!log.empty()) {
    const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) {
      reject("PLANESHOW_SIM_LOG", log, strerrordesc_np(errno));
    }
    close(fd);
  }
}

}  // namespace

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(separator, at), text.size());
    pieces.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return pieces;
}

Settings& settings() {
  static Settings& settings = *new Settings(readSettings());  // used until the last exit handler
  return settings;
}

const Fault* nextFault(const std::string& request) {
  const Fault* met = nullptr;
  for (Fault& fault : settings().faults) {
    if (fault.request == request) {
      ++fault.seen;
      const bool now =
          fault.seen == fault.first || (fault.andFollowing && fault.seen > fault.first);
      met = now && met == nullptr ? &fault : met;
    }
  }
  return met;
}

}  // namespace sim
