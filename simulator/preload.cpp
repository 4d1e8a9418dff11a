// The library's face: every spelling of the calls that reach the devices. What isn't for a
// simulated device goes to the next definition of the same name, untouched.

// Fortified headers declare, and redirect, what is defined here; so do headers for large files and
// 64-bit time where a 32-bit compiler asks for them by default.
#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdarg>
#include <string>
#include <string_view>

#include "devices.h"

namespace {

template <typename Function>
Function* nextDefinition(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int answer(int result) {
  if (result < 0) {
    errno = -result;
    return -1;
  }
  return result;
}

bool isDevice(const char* path) {
  return path != nullptr &&
         (path == std::string_view(sim::kIon) || path == std::string_view(sim::kGe2d));
}

int openDevice(const std::string& path, int flags) {
  const std::string& node = path == sim::kIon ? sim::settings().ion : sim::settings().ge2d;
  const int result = node == "absent"      ? -ENOENT
                     : node == "forbidden" ? -EACCES
                                           : sim::makeFile(path, 0, (flags & O_CLOEXEC) != 0);
  if (sim::logging()) {
    const char* const access[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_ACCMODE"};
    const int others = flags & ~(O_ACCMODE | O_CLOEXEC);
    sim::logLine("open " + path + " " + access[flags & O_ACCMODE] +
                 ((flags & O_CLOEXEC) != 0 ? "|O_CLOEXEC" : "") +
                 (others != 0 ? "|" + std::to_string(others) : "") + sim::resultText(result));
  }
  return result;
}

// The name of what a mapping is of. Memory without a file is mapped before the process has an
// environment to read settings from.
std::string mappedName(int fd) { return fd >= 0 ? sim::nameOf(fd) : ""; }

// Returns 0, or the negated errno with which the drivers refuse to map.
int refuseMap(const std::string& name, std::uint64_t length, int protection, int flags,
              std::uint64_t offset) {
  if (name == sim::kIon || name == sim::kGe2d) {
    return -ENODEV;
  }
  const std::uint64_t whole = sim::wholePages(sim::bufferLength(name));
  const bool beyond = offset >= whole || length > whole - offset;
  const bool copied = (flags & MAP_TYPE) == MAP_PRIVATE && (protection & PROT_WRITE) != 0;
  return whole > 0 && (beyond || copied) ? -EINVAL : 0;
}

void logMap(const std::string& name, std::size_t length, int protection, int flags, int result) {
  if (sim::bufferLength(name) > 0 && sim::logging()) {
    sim::logLine("map " + name + ": " + std::to_string(length) + " bytes " +
                 ((protection & PROT_READ) != 0 ? "r" : "-") +
                 ((protection & PROT_WRITE) != 0 ? "w" : "-") +
                 ((flags & MAP_SHARED) != 0 ? " shared" : "") + sim::resultText(result));
  }
}

void logClose(int fd) {
  const std::string name = sim::logging() ? sim::nameOf(fd) : "";
  if (!name.empty()) {
    sim::logLine("close " + std::to_string(fd) + " " + name);
  }
}

}  // namespace

// The fortified forms never have a mode; called as if they might, they find none to read.
#define SIM_OPEN(name, parameters, arguments)                        \
  extern "C" int name parameters {                                   \
    static auto* const next = nextDefinition<decltype(name)>(#name); \
    if (isDevice(path)) return answer(openDevice(path, flags));      \
    mode_t mode = 0;                                                 \
    if ((flags & (O_CREAT | __O_TMPFILE)) != 0) {                    \
      std::va_list args;                                             \
      va_start(args, flags);                                         \
      mode = va_arg(args, mode_t);                                   \
      va_end(args);                                                  \
    }                                                                \
    return next arguments;                                           \
  }
#define SIM_IOCTL(name)                                                 \
  extern "C" int name(int fd, unsigned long code, ...) noexcept {       \
    static auto* const next = nextDefinition<decltype(name)>(#name);    \
    std::va_list args;                                                  \
    va_start(args, code);                                               \
    void* const record = va_arg(args, void*);                           \
    va_end(args);                                                       \
    int result = 0;                                                     \
    const bool answered = sim::answerRequest(fd, code, record, result); \
    return answered ? answer(result) : next(fd, code, record);          \
  }
#define SIM_MMAP(name, Offset)                                                                   \
  extern "C" void* name(void* address, std::size_t length, int protection, int flags, int fd,    \
                        Offset offset) noexcept {                                                \
    static auto* const next = nextDefinition<decltype(name)>(#name);                             \
    const std::string file = mappedName(fd);                                                     \
    int result = refuseMap(file, length, protection, flags, static_cast<std::uint64_t>(offset)); \
    void* mapped = MAP_FAILED;                                                                   \
    if (result == 0) {                                                                           \
      mapped = next(address, length, protection, flags, fd, offset);                             \
      result = mapped == MAP_FAILED ? -errno : 0;                                                \
    }                                                                                            \
    logMap(file, length, protection, flags, result);                                             \
    answer(result);                                                                              \
    return mapped;                                                                               \
  }

SIM_OPEN(open, (const char* path, int flags, ...), (path, flags, mode))
SIM_OPEN(open64, (const char* path, int flags, ...), (path, flags, mode))
SIM_OPEN(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
SIM_OPEN(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
SIM_OPEN(__open_2, (const char* path, int flags, ...), (path, flags, mode))
SIM_OPEN(__open64_2, (const char* path, int flags, ...), (path, flags, mode))
SIM_OPEN(__openat_2, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
SIM_OPEN(__openat64_2, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
SIM_IOCTL(ioctl)
SIM_IOCTL(__ioctl_time64)  // what ioctl is called with 64-bit time on 32-bit systems
SIM_MMAP(mmap, off_t)
SIM_MMAP(mmap64, off64_t)

extern "C" int close(int fd) {
  static auto* const next = nextDefinition<decltype(close)>("close");
  logClose(fd);
  return next(fd);
}
