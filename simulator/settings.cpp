#include "simulator/settings.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <sstream>

#include "tools/companion.h"

namespace sim {

namespace {

const std::string kPrefix = "PLANESHOW_SIM_";  // NOLINT(cert-err58-cpp): needs memory to run

Settings known;

// Takes one variable of the environment. An empty value leaves the default.
void take(const std::string& variable, std::map<std::string, std::string>& values) {
  const std::size_t equals = variable.find('=');
  if (variable.rfind(kPrefix, 0) != 0 || equals == std::string::npos) {
    return;
  }
  const std::string name = variable.substr(kPrefix.size(), equals - kPrefix.size());
  const std::string value = variable.substr(equals + 1);
  const auto found = values.find(name);
  if (found == values.end()) {
    reject(name, value, "there is no such setting");
  }
  if (!value.empty()) {
    found->second = value;
  }
}

// Ends the process unless the value is one of the choices, which are separated by blanks.
void check(const std::string& name, const std::string& value, const std::string& choices) {
  std::istringstream words(choices);
  const std::istream_iterator<std::string> end;
  if (std::find(std::istream_iterator<std::string>(words), end, value) == end) {
    reject(name, value, "the values are " + choices);
  }
}

// Ends the process unless the state can be kept in the folder. Without a reason, it is errno's.
void needFolder(bool usable, const std::filesystem::path& folder, const char* why = nullptr) {
  const int error = errno;
  if (!usable) {
    const std::string cause = why == nullptr ? std::strerror(error) : why;
    reject("STATE", folder, cause + ": name a folder in PLANESHOW_SIM_STATE");
  }
}

void makeFolders(const std::filesystem::path& path) {
  std::error_code each;  // what counts is the folder at the end
  std::filesystem::create_directories(path, each);
  needFolder(access((path / "").c_str(), X_OK) == 0, path);
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// Makes the default folder for the screen's state if it doesn't exist. It is for the user alone:
// somebody else who owned it, or a link of its name, could change the pictures.
std::string defaultFolder() {
  std::filesystem::path folder = environment("XDG_STATE_HOME");
  if (!folder.is_absolute()) {
    const std::filesystem::path home = environment("HOME");
    needFolder(home.is_absolute(), "", "HOME is not an absolute path");
    folder = home / ".local/state";
  }
  makeFolders(folder);
  folder /= "planeshow-sim";
  struct stat link = {};
  struct stat target = {};
  needFolder(mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST, folder);
  needFolder(lstat(folder.c_str(), &link) == 0 && stat((folder / "").c_str(), &target) == 0,
             folder);
  needFolder(link.st_uid == geteuid() && target.st_uid == geteuid(), folder, "it is not your own");
  needFolder(chmod(folder.c_str(), 0700) == 0, folder);
  return folder;
}

}  // namespace

void readSettings() {
  std::map<std::string, std::string> values = {
      {"ION", "modern"}, {"GE2D", "present"},  {"MEMORY", std::to_string(UINT64_MAX)},
      {"FAIL", ""},      {"LOG", ""},          {"SCREEN", "drawn"},
      {"STATE", ""},     {"SIZE", "1920x1080"}};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    take(*variable, values);
  }
  check("ION", values["ION"], "modern legacy absent forbidden");
  check("GE2D", values["GE2D"], "present absent forbidden");
  check("SCREEN", values["SCREEN"], "drawn none");
  known.ion = values["ION"];
  known.ge2d = values["GE2D"];
  known.fail = values["FAIL"];
  known.log = values["LOG"];
  if (!parseSize(values["SIZE"], known.width, known.height) ||
      std::max(known.width, known.height) > 8192) {
    reject("SIZE", values["SIZE"], "not WIDTHxHEIGHT, each from 1 to 8192");
  }
  if (!parseNumber(values["MEMORY"], known.memory)) {
    reject("MEMORY", values["MEMORY"], "not a number of bytes");
  }
  if (PLANESHOW_SIM_DRAWS && values["SCREEN"] == "drawn") {
    known.state = values["STATE"].empty() ? defaultFolder() : values["STATE"];
    makeFolders(known.state);
  }
}

const Settings& settings() { return known; }

void reject(const std::string& name, const std::string& value, const std::string& why) {
  complain(kPrefix + name + "=" + value + ": " + why);
  std::exit(2);
}

}  // namespace sim
