#include "simulator/settings.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <map>

#include "tools/companion.h"

namespace sim {

namespace {

const std::string kPrefix = "PLANESHOW_SIM_";  // NOLINT(cert-err58-cpp): needs memory to run

// The variables that are set, without their prefix.
std::map<std::string, std::string> readEnvironment() {
  std::map<std::string, std::string> found;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string setting = *entry;
    const std::size_t equals = setting.find('=');
    if (setting.rfind(kPrefix, 0) == 0 && equals != std::string::npos) {
      found[setting.substr(kPrefix.size(), equals - kPrefix.size())] = setting.substr(equals + 1);
    }
  }
  return found;
}

// Returns the value, or the first of the choices if it is empty.
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

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

void makeFolders(const std::string& path) {
  std::error_code each;  // what counts is the folder at the end
  std::filesystem::create_directories(path, each);
  require(access((path + "/").c_str(), X_OK) == 0, path);
}

// Makes the folder for the screen's state if it doesn't exist. The default one is for the user
// alone: somebody else who owned the folder, or a link of its name, could change the pictures.
std::string makeFolder(std::string folder) {
  if (!folder.empty()) {
    makeFolders(folder);
    return folder;
  }
  const std::string home = environment("HOME");
  folder = environment("XDG_STATE_HOME");
  if (folder.rfind('/', 0) != 0) {
    if (home.empty()) {
      throw std::runtime_error("there is no HOME");
    }
    folder = home + "/.local/state";
  }
  makeFolders(folder);
  folder += "/planeshow-sim";
  struct stat link = {};
  struct stat target = {};
  require(mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST, folder);
  require(lstat(folder.c_str(), &link) == 0 && stat((folder + "/").c_str(), &target) == 0, folder);
  if (link.st_uid != geteuid() || target.st_uid != geteuid()) {
    throw std::runtime_error(folder + " is not your own");
  }
  require(chmod(folder.c_str(), 0700) == 0, folder);
  return folder;
}

Settings readSettings() {
  auto variables = readEnvironment();
  // Takes a variable out. Those that are left in the end are misspelt.
  const auto take = [&](const char* name) {
    const auto taken = variables.extract(name);
    return taken.empty() ? "" : taken.mapped();
  };
  Settings found;
  found.ion = choose("ION", take("ION"), {"modern", "legacy", "absent", "forbidden"});
  found.ge2d = choose("GE2D", take("GE2D"), {"present", "absent", "forbidden"});
  found.fail = take("FAIL");
  found.log = take("LOG");
  found.state = take("STATE");
  const bool drawn = choose("SCREEN", take("SCREEN"), {"drawn", "none"}) == "drawn";
  const std::string size = take("SIZE");
  if (!size.empty() &&
      (!parseSize(size, found.width, found.height) || std::max(found.width, found.height) > 8192)) {
    reject("SIZE", size, "not WIDTHxHEIGHT, each from 1 to 8192");
  }
  const std::string memory = take("MEMORY");
  if (!memory.empty() && !parseNumber(memory, found.memory)) {
    reject("MEMORY", memory, "not a number of bytes");
  }
  if (!variables.empty()) {
    reject(variables.begin()->first, variables.begin()->second, "there is no such setting");
  }
  try {
    found.state = drawn && PLANESHOW_SIM_DRAWS ? makeFolder(found.state) : "";
    return found;
  } catch (const std::exception& failure) {
    complain(failure.what() + std::string(": name a folder in PLANESHOW_SIM_STATE"));
  }
  std::exit(2);  // out here, after the failure has been released
}

}  // namespace

const Settings& settings() {
  static const auto& settings = *new Settings(readSettings());
  return settings;
}

void reject(const std::string& name, const std::string& value, const std::string& why) {
  complain(kPrefix + name + "=" + value + ": " + why);
  std::exit(2);
}

}  // namespace sim
