// The library's face: every spelling of the calls that reach the devices. What isn't for a
// simulated device goes to the next definition of the same name, untouched.

// Fortified headers declare, and redirect, what is defined here.
#undef _FORTIFY_SOURCE

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdarg>

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

}  // namespace

// The fortified forms never have a mode; called as if they might, they find none to read.
#define SIM_OPEN(name, parameters, arguments)                             \
  extern "C" int name parameters {                                        \
    static auto* const next = nextDefinition<decltype(name)>(#name);      \
    if (sim::isDevice(path)) return answer(sim::openDevice(path, flags)); \
    mode_t mode = 0;                                                      \
    if ((flags & (O_CREAT | __O_TMPFILE)) != 0) {                         \
      std::va_list args;                                                  \
      va_start(args, flags);                                              \
      mode = va_arg(args, mode_t);                                        \
      va_end(args);                                                       \
    }                                                                     \
    return next arguments;                                                \
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
#define SIM_MMAP(name, Offset)                                                                \
  extern "C" void* name(void* address, std::size_t length, int protection, int flags, int fd, \
                        Offset offset) noexcept {                                             \
    static auto* const next = nextDefinition<decltype(name)>(#name);                          \
    int result = sim::mapFault(fd);                                                           \
    void* mapped = MAP_FAILED;                                                                \
    if (result == 0) {                                                                        \
      mapped = next(address, length, protection, flags, fd, offset);                          \
      result = mapped == MAP_FAILED ? -errno : 0;                                             \
    }                                                                                         \
    sim::afterMap(fd, length, protection, flags, result);                                     \
    answer(result);                                                                           \
    return mapped;                                                                            \
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
  sim::beforeClose(fd);
  return next(fd);
}
