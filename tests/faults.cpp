// Preloaded before the simulated devices: makes the n-th call of the tool's own that can fail
// (stat, open, mmap, ioctl, dup) fail with EIO. FAULT=n is that call alone, FAULT=n+ all from there
// on.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace {

// The devices and the C++ library make such calls too; only those from the executable count.
bool failsNow(const void* caller) {
  static int seen = 0;
  const char* const fault = getenv("FAULT");
  Dl_info from = {};
  Dl_info tool = {};
  dladdr(caller, &from);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel hands the entry point over as a number
  dladdr(reinterpret_cast<void*>(getauxval(AT_ENTRY)), &tool);
  if (fault == nullptr || from.dli_fbase != tool.dli_fbase) {
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

// By the names that a build for large files calls.
extern "C" int stat64(const char* path, struct stat64* status) noexcept {
  return failsNow(__builtin_return_address(0)) ? -1
                                               : next<decltype(stat64)>("stat64")(path, status);
}

extern "C" int open64(const char* path, int flags, ...) {
  std::va_list args;
  va_start(args, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
  va_end(args);
  return failsNow(__builtin_return_address(0))
             ? -1
             : next<decltype(open64)>("open64")(path, flags, mode);
}

extern "C" void* mmap64(void* at, size_t size, int protection, int flags, int fd,
                        off64_t from) noexcept {
  return failsNow(__builtin_return_address(0))
             ? MAP_FAILED
             : next<decltype(mmap64)>("mmap64")(at, size, protection, flags, fd, from);
}

extern "C" int ioctl(int fd, unsigned long code, ...) noexcept {
  std::va_list args;
  va_start(args, code);
  void* const record = va_arg(args, void*);
  va_end(args);
  return failsNow(__builtin_return_address(0))
             ? -1
             : next<int(int, unsigned long, void*)>("ioctl")(fd, code, record);
}

extern "C" int dup(int fd) noexcept {
  return failsNow(__builtin_return_address(0)) ? -1 : next<decltype(dup)>("dup")(fd);
}
