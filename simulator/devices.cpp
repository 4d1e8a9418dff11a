#include "devices.h"

#include <sys/mman.h>
#include <sys/syscall.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <sstream>

namespace sim {

// Descriptors.

std::string nameOf(int fd) {
  char target[64];
  const std::string entry = "/proc/self/fd/" + std::to_string(fd);
  const ssize_t got = readlink(entry.c_str(), target, sizeof target);
  const std::string link(target, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  const bool ours = link.rfind("/memfd:/dev/", 0) == 0 || link.rfind("/memfd:buffer ", 0) == 0;
  const std::size_t before = std::strlen("/memfd:");
  return ours ? link.substr(before, link.rfind(" (deleted)") - before) : "";
}

std::uint64_t bufferLength(const std::string& name) {
  const std::size_t of = name.find(" of ");
  return of == std::string::npos ? 0 : strtoull(&name[of + 4], nullptr, 10);
}

int makeFile(const std::string& name, std::uint64_t backed, bool closeOnExec) {
  const int fd = memfd_create(name.c_str(), closeOnExec ? MFD_CLOEXEC : 0);
  if (fd >= 0 && (backed == 0 || fallocate64(fd, 0, 0, static_cast<off64_t>(backed)) == 0)) {
    return fd;
  }
  const int error = errno;
  closeOwn(fd);
  return -error;
}

void closeOwn(int fd) { syscall(SYS_close, fd); }

int writeAll(int fd, const void* bytes, std::size_t size) {
  const ssize_t written = write(fd, bytes, size);
  const int error = written < 0 ? errno : ENOSPC;
  return written == static_cast<ssize_t>(size) ? 0 : -error;
}

void complain(const std::string& path, int error) {
  dprintf(STDERR_FILENO, "planeshow-sim: %s: %s\n", path.c_str(), strerrordesc_np(-error));
}

// The log. It is opened for each line: the tool's own descriptors keep the numbers of an ordinary
// run.

bool logging() { return !settings().log.empty(); }

int appendToLog(const std::string& text, int openFlags) {
  return withDescriptors([&] {
    // Opening a FIFO that nobody reads fails instead of waiting; writing to one waits.
    const int flags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK | openFlags;
    const int fd = open(settings().log.c_str(), flags, 0666);
    if (fd < 0) {
      return -errno;
    }
    fcntl(fd, F_SETFL, O_APPEND);
    const int result = writeAll(fd, text.data(), text.size());
    closeOwn(fd);
    return result;
  });
}

void logLine(const std::string& line) {
  static std::atomic<bool> complained{false};
  const int error = appendToLog(line + "\n", 0);
  if (error != 0 && !complained.exchange(true)) {
    complain(settings().log, error);
  }
}

std::string resultText(int result) {
  return " = " +
         (result < 0 ? std::string("-1 ") + strerrorname_np(-result) : std::to_string(result));
}

// Requests.

namespace {

// The record's fields as name=value; those only that differ from before, if that is given.
std::string describe(const Request& request, const std::int32_t* words,
                     const std::int32_t* before = nullptr) {
  std::string text;
  std::istringstream fields(request.fields);
  for (std::string field; fields >> field;) {
    const std::size_t plus = field.find_first_not_of('+');
    const std::size_t count = plus == 2 ? 2 : 1;
    std::uint64_t value = 0;
    memcpy(&value, words, count * sizeof *words);
    if (before == nullptr || memcmp(words, before, count * sizeof *words) != 0) {
      text += (text.empty() ? "" : " ") + field.substr(plus) + "=" +
              (plus == 0 ? std::to_string(*words) : std::to_string(value));
    }
    words += count;
    before += before == nullptr ? 0 : count;
  }
  return " {" + text + "}";
}

// The driver's work, or what it was told to answer.
int perform(const Request& request, int fd, std::int32_t* words) {
  const Fault* const fault = nextFault(request.name);
  if (fault == nullptr || fault->result > 0) {
    const int result = request.perform(fd, words);
    return result == 0 && fault != nullptr ? fault->result : result;
  }
  if (fault->noDescriptor || request.errorInDescriptor) {
    words[request.descriptor] = fault->noDescriptor ? -1 : -fault->error;
  }
  return -fault->error;
}

}  // namespace

bool answerRequest(int fd, unsigned long code, void* record, int& result) {
  static std::mutex oneAtATime;
  const std::string device = nameOf(fd);
  if (device != kIon && device != kGe2d) {
    result = -EBADF;
    return fcntl(fd, F_GETFD) == -1;
  }
  const std::lock_guard<std::mutex> lock(oneAtATime);
  const Request* const request = findRequest(settings(), [&](const Request& known) {
    return device == known.device && known.code == static_cast<std::uint32_t>(code);
  });
  char asked[32];
  std::snprintf(asked, sizeof asked, "ioctl %d %08x", fd, static_cast<unsigned>(code));
  std::string log = asked;
  if (request == nullptr || record == nullptr) {
    result = request == nullptr ? -ENOTTY : -EFAULT;
    log += resultText(result);
  } else {
    // As a driver does: copy in, work on the copy, copy out.
    std::int32_t before[20] = {};
    std::int32_t words[20] = {};
    memcpy(before, record, request->size);
    memcpy(words, record, request->size);
    result = perform(*request, fd, words);
    memcpy(record, words, request->size);
    log += std::string(" ") + request->name + describe(*request, before) + resultText(result);
    if (result >= 0 || memcmp(words, before, sizeof words) != 0) {
      log += describe(*request, words, before);
    }
  }
  if (logging()) {
    logLine(log);
  }
  return true;
}

}  // namespace sim
