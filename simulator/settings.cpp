#include "settings.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>
#include <string_view>

#include "devices.h"

namespace sim {

namespace {

constexpr std::string_view kPrefix = "PLANESHOW_SIM_";
constexpr std::string_view kVariables[] = {"ION", "GE2D", "MEMORY", "FAIL", "LOG", "STATE"};

[[noreturn]] void reject(std::string_view variable, const std::string& value, const char* why) {
  const std::string setting = std::string(kPrefix).append(variable) + "=" + value;
  dprintf(STDERR_FILENO, "planeshow-sim: %s: %s\n", setting.c_str(), why);
  _exit(2);
}

void rejectUnknown() {
  for (char** entry = environ; *entry != nullptr; ++entry) {
    std::string_view name = *entry;
    const std::size_t equals = std::min(name.find('='), name.size());
    if (name.substr(0, kPrefix.size()) == kPrefix) {
      name = name.substr(kPrefix.size(), equals - kPrefix.size());
      if (std::find(std::begin(kVariables), std::end(kVariables), name) == std::end(kVariables)) {
        reject(name, *entry + equals + 1, "there is no such setting");
      }
    }
  }
}

std::string read(std::string_view variable) {
  const char* const value = getenv(std::string(kPrefix).append(variable).c_str());
  return value == nullptr ? "" : value;
}

// The first of the choices if the variable isn't set.
std::string choose(std::string_view variable, std::initializer_list<const char*> choices) {
  const std::string value = read(variable);
  if (value.empty()) {
    return *choices.begin();
  }
  if (std::find(choices.begin(), choices.end(), value) == choices.end()) {
    reject(variable, value, "not one of its values");
  }
  return value;
}

// The number of an errno's name, or 0.
int errnoOf(const std::string& name) {
  // Second names, which the C library doesn't give for a number.
  if (name == "EWOULDBLOCK" || name == "EDEADLOCK" || name == "ENOTSUP") {
    return name == "EWOULDBLOCK" ? EWOULDBLOCK : name == "EDEADLOCK" ? EDEADLOCK : ENOTSUP;
  }
  int error = 199;
  while (error > 0 && (strerrorname_np(error) == nullptr || name != strerrorname_np(error))) {
    --error;
  }
  return error;
}

Fault parseFault(const std::string& text, const Settings& chosen) {
  static const std::regex pattern(
      "([a-z0-9]+):(nofd|[1-9]\\d{0,8}|E\\w+)(:([1-9]\\d{0,8})(\\+)?)?");
  std::smatch pieces;
  if (!std::regex_match(text, pieces, pattern)) {
    reject("FAIL", text, "not request:answer[:n[+]]");
  }
  const std::string answer = pieces[2];
  const bool always = !pieces[3].matched;
  Fault fault = {};
  fault.request = pieces[1];
  fault.noDescriptor = answer == "nofd";
  fault.error = errnoOf(answer);
  fault.result = atoi(answer.c_str());
  fault.first = always ? 1 : static_cast<unsigned>(std::stoul(pieces[4]));
  fault.andFollowing = always || pieces[5].matched;
  if (answer[0] == 'E' && fault.error == 0) {
    reject("FAIL", text, "there is no such errno");
  }
  if (!isOffered(fault.request, fault.noDescriptor, chosen)) {
    reject("FAIL", text, "the chosen devices have no such request or answer");
  }
  return fault;
}

Settings readSettings() {
  rejectUnknown();
  Settings found;
  found.ion = choose("ION", {"modern", "legacy", "absent", "forbidden"});
  found.ge2d = choose("GE2D", {"present", "absent", "forbidden"});
  found.log = read("LOG");
  found.state = read("STATE");
  const std::string memory = read("MEMORY");
  const char* const end = memory.data() + memory.size();
  const auto number = std::from_chars(memory.data(), end, found.memory);
  if (!memory.empty() && (number.ec != std::errc() || number.ptr != end || found.memory == 0)) {
    reject("MEMORY", memory, "not a number of bytes");
  }
  const std::string list = read("FAIL");
  std::istringstream faults(list.empty() ? "" : list + ",");  // getline drops what follows the last
  for (std::string text; std::getline(faults, text, ',');) {
    found.faults.push_back(parseFault(text, found));
  }
  return found;
}

// Before main, so that a bad setting is seen whatever the run does.
[[gnu::constructor]] void checkSettings() {
  const int error = logging() ? appendToLog("", O_CREAT) : 0;
  if (error != 0) {
    reject("LOG", settings().log, strerrordesc_np(-error));
  }
}

}  // namespace

Settings& settings() {
  static Settings& settings = *new Settings(readSettings());  // used until the last exit handler
  return settings;
}

const Fault* nextFault(const std::string& request) {
  const Fault* met = nullptr;
  for (Fault& fault : settings().faults) {
    if (fault.request == request && ++fault.seen >= fault.first &&
        (fault.seen == fault.first || fault.andFollowing) && met == nullptr) {
      met = &fault;
    }
  }
  return met;
}

}  // namespace sim
