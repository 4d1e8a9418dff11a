// The tool's system calls arrive here. The linker's --wrap sends each call of a wrapped name to
// __wrap_NAME; __real_NAME is the system's own.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "simulator/devices.h"
#include "simulator/faults.h"
#include "simulator/log.h"
#include "simulator/screen.h"
#include "simulator/settings.h"
#include "tools/companion.h"

extern "C" {
int __real_main(int argc, char** argv);
decltype(open) __real_open;
decltype(stat) __real_stat;
decltype(stat64) __real_stat64;
decltype(mmap64) __real_mmap64;
decltype(munmap) __real_munmap;
decltype(dup) __real_dup;
decltype(close) __real_close;
}

namespace {

// Whether a call is the tool's. The simulated devices make calls, too: those are neither logged nor
// told to fail.
bool toolRuns = false;

// Counts this use of the call. Returns whether it is told to fail, and then sets errno.
bool fails(const char* name) {
  const sim::Fault* const fault = toolRuns ? sim::nextFault(name) : nullptr;
  if (fault != nullptr) {
    errno = -fault->result;
  }
  return fault != nullptr;
}

// Logs a call that has been made, and returns its result. errno stays as the call left it.
int logged(const std::string& call, int result) {
  if (toolRuns) {
    const int error = errno;
    toolRuns = false;
    sim::logLine(call + sim::resultText(result == -1 ? -error : result));
    toolRuns = true;
    errno = error;
  }
  return result;
}

}  // namespace

// Sets everything up before the tool's main begins. The exit handler is registered first, so it
// runs after all of the tool's, which close the devices.
extern "C" int __wrap_main(int argc, char** argv) {
  programName = "planeshow-sim";
  sim::readSettings();
  sim::readFaults();
  sim::startLog();
  std::atexit([] {
    toolRuns = false;
    if constexpr (PLANESHOW_SIM_DRAWS) {
      sim::drawScreen();
    }
  });
  toolRuns = true;
  return __real_main(argc, argv);
}

// A call without a mode leaves any value in its place. The kernel doesn't read it then. The log
// leaves out O_LARGEFILE, which open64 adds: it depends on the build.
extern "C" int __wrap_open(const char* path, int flags, mode_t mode) {
  const char* const access[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_ACCMODE"};
  const int others = flags & ~(O_ACCMODE | O_CLOEXEC | O_LARGEFILE);
  const std::string call = std::string("open ") + path + " " + access[flags & O_ACCMODE] +
                           ((flags & O_CLOEXEC) != 0 ? "|O_CLOEXEC" : "") +
                           (others != 0 ? "|" + std::to_string(others) : "");
  const bool device = sim::isDevice(path);
  return logged(call, fails("open") ? -1
                      : device      ? sim::openDevice(path)
                                    : __real_open(path, flags, mode));
}

extern "C" int __wrap_open64(const char* path, int flags, mode_t mode) {
  return __wrap_open(path, flags | O_LARGEFILE, mode);
}

// An open without a mode in a fortified build, by clang with a newer C library.
extern "C" int __wrap___open_2(const char* path, int flags) { return __wrap_open(path, flags, 0); }

extern "C" int __wrap_stat(const char* path, struct stat* status) {
  const std::string call = std::string("stat ") + path;
  return logged(call, fails("stat") ? -1 : __real_stat(path, status));
}

extern "C" int __wrap_stat64(const char* path, struct stat64* status) {
  const std::string call = std::string("stat ") + path;
  return logged(call, fails("stat") ? -1 : __real_stat64(path, status));
}

extern "C" void* __wrap_mmap64(void* at, std::size_t size, int protection, int flags, int fd,
                               off64_t from) {
  const std::string call = "mmap " + std::to_string(fd) + ": " + std::to_string(size) + " bytes " +
                           ((protection & PROT_READ) != 0 ? "r" : "-") +
                           ((protection & PROT_WRITE) != 0 ? "w" : "-") +
                           ((flags & MAP_SHARED) != 0 ? " shared" : "");
  void* const mapped =
      fails("mmap") ? MAP_FAILED : __real_mmap64(at, size, protection, flags, fd, from);
  logged(call, mapped == MAP_FAILED ? -1 : 0);
  return mapped;
}

extern "C" void* __wrap_mmap(void* at, std::size_t size, int protection, int flags, int fd,
                             off_t from) {
  return __wrap_mmap64(at, size, protection, flags, fd, from);
}

extern "C" int __wrap_munmap(void* at, std::size_t size) {
  const std::string call = "munmap " + std::to_string(size) + " bytes";
  return logged(call, fails("munmap") ? -1 : __real_munmap(at, size));
}

extern "C" int __wrap_dup(int fd) {
  const std::string call = "dup " + std::to_string(fd);
  return logged(call, fails("dup") ? -1 : __real_dup(fd));
}

// A close that is told to fail still closes the descriptor, as on Linux.
extern "C" int __wrap_close(int fd) {
  const std::string call = "close " + std::to_string(fd);
  const int result = __real_close(fd);
  return logged(call, fails("close") ? -1 : result);
}

// Only the tool makes requests.
extern "C" int __wrap_ioctl(int fd, unsigned long code, void* record) {
  const int before = errno;
  toolRuns = false;
  const int result = sim::answerRequest(fd, static_cast<std::uint32_t>(code), record);
  toolRuns = true;
  errno = result < 0 ? -result : before;
  return result < 0 ? -1 : result;
}
