#include "simulator/devices.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "simulator/faults.h"
#include "simulator/log.h"
#include "simulator/settings.h"

namespace sim {

namespace {

// The record's fields as name=value. If before is given, only those that differ from it.
std::string describe(const Request& request, const std::int32_t* words,
                     const std::int32_t* before = nullptr) {
  std::string text;
  std::istringstream fields(request.fields);
  std::size_t at = 0;
  for (std::string field; fields >> field;) {
    const std::size_t plus = field.find_first_not_of('+');
    const std::size_t count = plus == 2 ? 2 : 1;
    std::uint64_t value = 0;
    memcpy(&value, &words[at], count * sizeof *words);
    if (before == nullptr || memcmp(&words[at], &before[at], count * sizeof *words) != 0) {
      text += (text.empty() ? "" : " ") + field.substr(plus) + "=" +
              (plus == 0 ? std::to_string(words[at]) : std::to_string(value));
    }
    at += count;
  }
  return " {" + text + "}";
}

// Lets the driver do its work, or gives the answer that the settings ask for.
int answer(const Request& request, std::int32_t* words) {
  const Fault* const fault = nextFault(request.name);
  if (fault != nullptr && fault->result < 0) {
    return fault->result;
  }
  if (fault != nullptr && fault->noDescriptor) {
    words[request.descriptor] = -1;
    return 0;
  }
  const int result = request.carryOut(words);
  return result == 0 && fault != nullptr ? fault->result : result;
}

}  // namespace

std::string nameOf(int fd) {
  char target[64];
  const std::string entry = "/proc/self/fd/" + std::to_string(fd);
  const ssize_t got = readlink(entry.c_str(), target, sizeof target);
  const std::string link(target, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  const bool ours = link.rfind("/memfd:/dev/", 0) == 0 || link.rfind("/memfd:buffer ", 0) == 0;
  const std::size_t before = std::strlen("/memfd:");
  return ours ? link.substr(before, link.rfind(" (deleted)") - before) : "";
}

std::size_t bufferLength(const std::string& name) {
  const std::size_t of = name.find(" of ");
  return of == std::string::npos ? 0 : strtoul(&name[of + 4], nullptr, 10);
}

int makeFile(const std::string& name, std::uint64_t backed) {
  const int fd = memfd_create(name.c_str(), MFD_CLOEXEC);
  if (fd >= 0 && backed > 0 && fallocate64(fd, 0, 0, static_cast<off64_t>(backed)) != 0) {
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
  }
  return fd;
}

std::vector<Request> requests() {
  std::vector<Request> all = ionRequests();
  for (const Request& request : ge2dRequests()) {
    all.push_back(request);
  }
  return all;
}

bool isDevice(const std::string& path) { return path == kIon || path == kGe2d; }

int openDevice(const std::string& path) {
  const std::string& node = path == kIon ? settings().ion : settings().ge2d;
  if (node == "absent" || node == "forbidden") {
    errno = node == "absent" ? ENOENT : EACCES;
    return -1;
  }
  return makeFile(path, 0);
}

int answerRequest(int fd, std::uint32_t code, void* record) {
  const std::string device = nameOf(fd);
  const std::vector<Request> known = requests();
  const auto request = std::find_if(known.begin(), known.end(), [&](const Request& one) {
    return device == one.device && code == one.code;
  });
  char asked[32];
  std::snprintf(asked, sizeof asked, "ioctl %d %08x", fd, code);
  std::string log = asked;
  int result = 0;
  if (request == known.end()) {
    result = fcntl(fd, F_GETFD) == -1 ? -EBADF : -ENOTTY;
    log += resultText(result);
  } else {
    // Like a driver: copy the record in, work on the copy, copy it out.
    std::vector<std::int32_t> words(request->size / sizeof(std::int32_t));
    memcpy(words.data(), record, request->size);
    const std::vector<std::int32_t> before = words;
    result = answer(*request, words.data());
    memcpy(record, words.data(), request->size);
    log +=
        std::string(" ") + request->name + describe(*request, before.data()) + resultText(result);
    if (result >= 0 || words != before) {
      log += describe(*request, words.data(), before.data());
    }
  }
  logLine(log);
  return result;
}

}  // namespace sim
