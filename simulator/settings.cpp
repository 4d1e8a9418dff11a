#include "settings.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <regex>
#include <sstream>

#include "devices.h"

namespace sim {

namespace {

const char kPrefix[] = "PLANESHOW_SIM_";

[[noreturn]] void reject(const std::string& name, const std::string& value, const char* why) {
  dprintf(STDERR_FILENO, "planeshow-sim: %s%s=%s: %s\n", kPrefix, name.c_str(), value.c_str(), why);
  _exit(2);
}

// The variables that are set, without their prefix.
std::map<std::string, std::string> readEnvironment() {
  std::map<std::string, std::string> found;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string setting = *entry;
    const std::size_t equals = setting.find('=');
    if (setting.rfind(kPrefix, 0) == 0 && equals != std::string::npos) {
      const std::size_t start = sizeof kPrefix - 1;
      found[setting.substr(start, equals - start)] = setting.substr(equals + 1);
    }
  }
  return found;
}

// The value, or if it isn't set the first of the choices.
std::string choose(const std::string& name, const std::string& value,
                   std::initializer_list<const char*> choices) {
  if (value.empty()) {
    return *choices.begin();
  }
  if (std::find(choices.begin(), choices.end(), value) == choices.end()) {
    reject(name, value, "not one of its values");
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
  static const std::regex pattern(R"(([a-z]+):(nofd|[1-9]\d{0,8}|E\w+)(:([1-9]\d{0,8})(\+)?)?)");
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
  std::from_chars(answer.data(), answer.data() + answer.size(), fault.result);
  fault.first = always ? 1 : static_cast<unsigned>(std::stoul(pieces[4]));
  fault.andFollowing = always || pieces[5].matched;
  if (answer[0] == 'E' && fault.error == 0) {
    reject("FAIL", text, "there is no such errno");
  }
  const auto canMeet = [&](const Request& known) {
    return fault.request == known.name && (known.descriptor > 0 || !fault.noDescriptor);
  };
  if (findRequest(chosen, canMeet) == nullptr) {
    reject("FAIL", text, "the chosen devices have no such request or answer");
  }
  return fault;
}

Settings readSettings() {
  auto variables = readEnvironment();
  // Takes one out: those that nobody takes are misspelt.
  const auto take = [&](const char* name) {
    const auto taken = variables.extract(name);
    return taken.empty() ? "" : taken.mapped();
  };
  Settings found;
  found.ion = choose("ION", take("ION"), {"modern", "legacy", "absent", "forbidden"});
  found.ge2d = choose("GE2D", take("GE2D"), {"present", "absent", "forbidden"});
  found.log = take("LOG");
  found.state = take("STATE");
  const std::string memory = take("MEMORY");
  const char* const end = memory.data() + memory.size();
  const auto number = std::from_chars(memory.data(), end, found.memory);
  if (!memory.empty() && (number.ec != std::errc() || number.ptr != end || found.memory == 0)) {
    reject("MEMORY", memory, "not a number of bytes");
  }
  const std::string list = take("FAIL");
  std::istringstream faults(list.empty() ? "" : list + ",");  // getline drops what follows the last
  for (std::string text; std::getline(faults, text, ',');) {
    found.faults.push_back(parseFault(text, found));
  }
  if (!variables.empty()) {
    reject(variables.begin()->first, variables.begin()->second, "there is no such setting");
  }
  return found;
}

// Before main, so that a bad setting is seen whatever the run does.
[[gnu::constructor]] void checkSettings() {
  if (settings().log == kIon || settings().log == kGe2d) {
    reject("LOG", settings().log, "a simulated device");
  }
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
