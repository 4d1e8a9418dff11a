#include "settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace sim {

namespace {

template <typename Number>
bool parseNumber(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
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

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, separator);) {
    pieces.push_back(piece);
  }
  return pieces;
}

// request:answer[:n[+]]
bool parseFault(const std::string& text, Fault& fault) {
  const auto pieces = split(text, ':');
  if (pieces.size() < 2 || pieces.size() > 3) {
    return false;
  }
  bool known = false;
  for (const char* name : {"alloc", "free", "share", "map", "fastlogo", "put", "present"}) {
    known = known || pieces[0] == name;
  }
  fault.request = pieces[0];
  if (pieces[1] == "nofd") {
    fault.kind = Fault::Kind::NoDescriptor;
    known = known && (fault.request == "alloc" || fault.request == "share");
  } else if (parseNumber(pieces[1], fault.value) && fault.value > 0) {
    fault.kind = Fault::Kind::Result;
    known = known && fault.request != "map";
  } else {
    fault.kind = Fault::Kind::Errno;
    fault.value = errnoOf(pieces[1]);
    known = known && fault.value != 0;
  }
  if (pieces.size() == 3) {
    std::string when = pieces[2];
    fault.andFollowing = !when.empty() && when.back() == '+';
    if (fault.andFollowing) {
      when.pop_back();
    }
    known = known && parseNumber(when, fault.first) && fault.first > 0;
  }
  return known;
}

Node parseNode(const char* name, const std::string& text) {
  if (text == "absent") {
    return Node::Absent;
  }
  if (text == "forbidden") {
    return Node::Forbidden;
  }
  fail("%s=%s: no such kind of node", name, text.c_str());
}

Settings readSettings() {
  Settings settings;
  const auto read = [](const char* name) {
    const char* const text = getenv(name);
    return std::string(text == nullptr ? "" : text);
  };
  const std::string ion = read("PLANESHOW_SIM_ION");
  settings.legacy = ion == "legacy";
  if (!ion.empty() && ion != "modern" && ion != "legacy") {
    settings.ion = parseNode("PLANESHOW_SIM_ION", ion);
  }
  const std::string ge2d = read("PLANESHOW_SIM_GE2D");
  if (!ge2d.empty() && ge2d != "present") {
    settings.ge2d = parseNode("PLANESHOW_SIM_GE2D", ge2d);
  }
  const std::string memory = read("PLANESHOW_SIM_MEMORY");
  if (!memory.empty() && !parseNumber(memory, settings.memory)) {
    fail("PLANESHOW_SIM_MEMORY=%s: not a number of bytes", memory.c_str());
  }
  for (const std::string& text : split(read("PLANESHOW_SIM_FAIL"), ',')) {
    Fault fault = {};
    if (!parseFault(text, fault)) {
      fail("PLANESHOW_SIM_FAIL: '%s' is not request:answer[:n[+]]", text.c_str());
    }
    settings.faults.push_back(fault);
  }
  settings.log = read("PLANESHOW_SIM_LOG");
  return settings;
}

// Before main, so that a bad setting is seen whatever the run does. The log is opened only once
// the settings are there: the library's own close asks for them.
[[gnu::constructor]] void checkSettings() {
  const char* const log = settings().log.c_str();
  if (*log != '\0') {
    const int fd = open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) {
      fail("PLANESHOW_SIM_LOG=%s: %s", log, strerror(errno));
    }
    close(fd);
  }
}

}  // namespace

Settings& settings() {
  static Settings& settings = *new Settings(readSettings());  // used until the last exit handler
  return settings;
}

void fail(const char* format, ...) {
  char text[512];
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  dprintf(STDERR_FILENO, "planeshow-sim: %s\n", text);
  _exit(2);
}

const Fault* nextFault(const char* request) {
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
