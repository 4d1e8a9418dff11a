// Preloaded before the simulated devices, for the system calls that the tool itself makes.
// CALLS=file appends each with its arguments. FAULT=n makes the n-th of those that can fail (stat,
// open, mmap, ioctl, dup) fail with EIO; FAULT=n+ that and all from there on.

#include <dlfcn.h>
#include <sys/auxv.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Logs the call, and says whether it has to fail.
[[gnu::format(printf, 3, 4)]] static bool fails(const void* caller, bool canFail,
                                                const char* format, ...) {
  // The devices and the C++ library make such calls too; only those from the executable count,
  // whose first page has its headers.
  Dl_info from = {};
  dladdr(caller, &from);
  if (reinterpret_cast<std::uintptr_t>(from.dli_fbase) != (getauxval(AT_PHDR) & ~0xFFFUL)) {
    return false;
  }
  if (const char* const path = getenv("CALLS")) {
    std::FILE* const file = std::fopen(path, "a");
    std::va_list args;
    va_start(args, format);
    std::vfprintf(file, format, args);
    va_end(args);
    std::fclose(file);
  }
  static long seen = 0;
  seen += canFail ? 1 : 0;
  const char* const fault = getenv("FAULT");
  const long first = fault == nullptr ? 0 : strtol(fault, nullptr, 10);
  const bool meant = seen == first || (seen > first && first > 0 && strchr(fault, '+') != nullptr);
  errno = canFail && meant ? EIO : errno;
  return canFail && meant;
}

// Declared here and not by the C library's headers: these redirect some names to others, and which
// depends on the compiler's default for large files and 64-bit time.
#define CALL(canFail, Result, name, parameters, arguments, ...)                           \
  extern "C" Result name parameters {                                                     \
    static auto* const next = reinterpret_cast<decltype(name)*>(dlsym(RTLD_NEXT, #name)); \
    const bool broken = fails(__builtin_return_address(0), canFail, __VA_ARGS__);         \
    return broken ? -1 : next arguments;                                                  \
  }
#define STAT(name) \
  CALL(true, int, name, (const char* path, void* status), (path, status), "stat %s\n", path)
#define IOCTL(name)                                                                     \
  CALL(true, int, name, (int fd, unsigned long code, void* record), (fd, code, record), \
       "ioctl %d %#lx\n", fd, code)
#define OPEN(name)                                                                              \
  CALL(true, int, name, (const char* path, unsigned flags, unsigned mode), (path, flags, mode), \
       "open %s %#x\n", path, flags)
STAT(stat64)
STAT(__stat64_time64)
IOCTL(ioctl)
IOCTL(__ioctl_time64)
OPEN(open64)
OPEN(__open64_2)  // as clang calls it, fortified
CALL(true, std::intptr_t, mmap64,
     (void* at, std::size_t size, int protection, int flags, int fd, std::int64_t from),
     (at, size, protection, flags, fd, from), "mmap %zu %d %d %d\n", size, protection, flags, fd)
CALL(true, int, dup, (int fd), (fd), "dup %d\n", fd)
CALL(false, int, close, (int fd), (fd), "close %d\n", fd)
CALL(false, int, munmap, (void* at, std::size_t size), (at, size), "munmap %zu\n", size)
