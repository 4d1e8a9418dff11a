// Preloaded before the simulated devices, for the system calls that the tool itself makes.
// CALLS=file appends each with its arguments. FAULT=n makes the n-th of those that can fail (stat,
// open, mmap, ioctl, dup) fail with EIO; FAULT=n+ that and all from there on.

// Headers for large files and 64-bit time redirect what is defined here, fortified ones overload it.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#undef _FORTIFY_SOURCE

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

// The devices and the C++ library make such calls too; only those from the executable count.
bool isFromTool(const void* caller) {
  Dl_info from = {};
  Dl_info tool = {};
  dladdr(caller, &from);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel hands the entry point over as a number
  dladdr(reinterpret_cast<void*>(getauxval(AT_ENTRY)), &tool);
  return from.dli_fbase == tool.dli_fbase;
}

[[gnu::format(printf, 2, 3)]] bool note(const void* caller, const char* format, ...) {
  const bool fromTool = isFromTool(caller);
  const char* const path = getenv("CALLS");
  if (fromTool && path != nullptr) {
    std::FILE* const file = std::fopen(path, "a");
    std::va_list args;
    va_start(args, format);
    std::vfprintf(file, format, args);
    va_end(args);
    std::fclose(file);
  }
  return fromTool;
}

bool failsNow(bool fromTool) {
  static int seen = 0;
  const char* const fault = getenv("FAULT");
  if (!fromTool || fault == nullptr) {
    return false;
  }
  char* end = nullptr;
  const long at = strtol(fault, &end, 10);
  ++seen;
  const bool fails = seen == at || (*end == '+' && seen > at);
  errno = fails ? EIO : errno;
  return fails;
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define CALLER __builtin_return_address(0)

// By the names that a build for large files calls, on 32-bit systems with 64-bit time, too.
#define CALLS_STAT(name)                                                  \
  extern "C" int name(const char* path, struct stat64* status) noexcept { \
    const bool fails = failsNow(note(CALLER, "stat %s\n", path));         \
    return fails ? -1 : next<decltype(stat64)>(#name)(path, status);      \
  }
#define CALLS_IOCTL(name)                                                              \
  extern "C" int name(int fd, unsigned long code, void* record) noexcept {             \
    const bool fails = failsNow(note(CALLER, "ioctl %d %#lx\n", fd, code));            \
    return fails ? -1 : next<int(int, unsigned long, void*)>(#name)(fd, code, record); \
  }
CALLS_STAT(stat64)
CALLS_STAT(__stat64_time64)
CALLS_IOCTL(ioctl)
CALLS_IOCTL(__ioctl_time64)

extern "C" int open64(const char* path, int flags, ...) {
  const bool fails = failsNow(note(CALLER, "open %s %#x\n", path, static_cast<unsigned>(flags)));
  return fails ? -1 : next<decltype(open64)>("open64")(path, flags);  // the tool creates no file
}

extern "C" int close(int fd) {
  note(CALLER, "close %d\n", fd);
  return next<decltype(close)>("close")(fd);
}

extern "C" void* mmap64(void* at, size_t size, int protection, int flags, int fd,
                        off64_t from) noexcept {
  const bool fails = failsNow(note(CALLER, "mmap %zu %d %d %d\n", size, protection, flags, fd));
  return fails ? MAP_FAILED
               : next<decltype(mmap64)>("mmap64")(at, size, protection, flags, fd, from);
}

extern "C" int munmap(void* at, size_t size) noexcept {
  note(CALLER, "munmap %zu\n", size);
  return next<decltype(munmap)>("munmap")(at, size);
}

extern "C" int dup(int fd) noexcept {
  const bool fails = failsNow(note(CALLER, "dup %d\n", fd));
  return fails ? -1 : next<decltype(dup)>("dup")(fd);
}
