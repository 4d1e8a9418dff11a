// The tool's system calls arrive here. The linker's --wrap sends each call of a wrapped name to
// __wrap_NAME; __real_NAME is the system's own. Calls of the simulated devices go straight to that.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>

#include "simulator/devices.h"
#include "simulator/faults.h"
#include "simulator/log.h"
#include "simulator/screen.h"
#include "simulator/settings.h"
#include "tools/companion.h"

extern "C" {
int __real_main(int argc, char** argv);
decltype(open) __real_open, __real_open64, __real___open_2;
decltype(stat) __real_stat;
decltype(stat64) __real_stat64;
decltype(mmap) __real_mmap;
decltype(mmap64) __real_mmap64;
decltype(munmap) __real_munmap;
decltype(dup) __real_dup;
decltype(close) __real_close;
decltype(ioctl) __real_ioctl;
}

namespace {

std::atomic<bool> toolRuns{false};
thread_local bool inDevices = false;

// Lets the devices answer one of the tool's calls, from any thread. The work returns a negated
// errno if it fails; errno changes only then.
template <typename Work>
int answer(const Work& work) {
  static std::mutex oneAtATime;
  const int before = errno;
  const std::lock_guard<std::mutex> lock(oneAtATime);
  inDevices = true;
  const int result = work();
  inDevices = false;
  errno = result < 0 ? -result : before;
  return result < 0 ? -1 : result;
}

// Makes one of the tool's calls, or lets it fail if the settings say so, and logs it. A failed call
// returns -1 and sets errno. The simulated devices' own calls are made and nothing else.
template <typename Call>
int perform(const char* name, const std::string& arguments, const Call& call) {
  if (!toolRuns || inDevices) {
    return call();
  }
  return answer([&] {
    const sim::Fault* const fault = sim::nextFault(name);
    int result = fault != nullptr ? -fault->error : call();
    result = fault == nullptr && result == -1 ? -errno : result;
    sim::logLine(name + (" " + arguments) + sim::resultText(result));
    return result;
  });
}

template <typename Real>
int performOpen(const std::string& path, int flags, const Real& real) {
  const char* const access[] = {" O_RDONLY", " O_WRONLY", " O_RDWR", " O_ACCMODE"};
  const int others = flags & ~(O_ACCMODE | O_CLOEXEC);
  const std::string text = path + access[flags & O_ACCMODE] +
                           ((flags & O_CLOEXEC) != 0 ? "|O_CLOEXEC" : "") +
                           (others != 0 ? "|" + std::to_string(others) : "");
  return perform("open", text, [&] {
    if (path != sim::kIon && path != sim::kGe2d) {
      return real();
    }
    const int result = sim::openDevice(path, (flags & O_CLOEXEC) != 0);
    errno = result < 0 ? -result : errno;
    return std::max(result, -1);
  });
}

template <typename Real>
void* performMap(std::size_t size, int protection, int flags, int fd, const Real& real) {
  const std::string text = std::to_string(fd) + ": " + std::to_string(size) + " bytes " +
                           ((protection & PROT_READ) != 0 ? "r" : "-") +
                           ((protection & PROT_WRITE) != 0 ? "w" : "-") +
                           ((flags & MAP_SHARED) != 0 ? " shared" : "");
  void* mapped = MAP_FAILED;
  perform("mmap", text, [&] {
    mapped = real();
    return mapped == MAP_FAILED ? -1 : 0;
  });
  return mapped;
}

}  // namespace

// Sets everything up before the tool's main begins. The exit handler is registered first, so it
// runs after all of the tool's, which close the devices.
extern "C" int __wrap_main(int argc, char** argv) {
  programName = "planeshow-sim";
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

// NOLINTBEGIN(bugprone-macro-parentheses): not around parameter lists
#define SIM_WRAP(Result, name, parameters, arguments, performer, ...)       \
  extern "C" Result __wrap_##name parameters {                              \
    return performer(__VA_ARGS__, [&] { return __real_##name arguments; }); \
  }
// A call without a mode leaves any value in its place. The kernel doesn't read it then.
#define SIM_OPEN(name)                                                                 \
  SIM_WRAP(int, name, (const char* path, int flags, mode_t mode), (path, flags, mode), \
           performOpen, path, flags)
#define SIM_STAT(name, Status) \
  SIM_WRAP(int, name, (const char* path, Status* status), (path, status), perform, "stat", path)
#define SIM_MMAP(name, Offset)                                                           \
  SIM_WRAP(void*, name,                                                                  \
           (void* at, std::size_t size, int protection, int flags, int fd, Offset from), \
           (at, size, protection, flags, fd, from), performMap, size, protection, flags, fd)
// NOLINTEND(bugprone-macro-parentheses)
SIM_OPEN(open)
SIM_OPEN(open64)
SIM_OPEN(__open_2)  // an open without a mode in a fortified build
SIM_STAT(stat, struct stat)
SIM_STAT(stat64, struct stat64)
SIM_MMAP(mmap, off_t)
SIM_MMAP(mmap64, off64_t)
SIM_WRAP(int, munmap, (void* at, std::size_t size), (at, size), perform, "munmap",
         std::to_string(size) + " bytes")
SIM_WRAP(int, dup, (int fd), (fd), perform, "dup", std::to_string(fd))

// A close that is told to fail still closes the descriptor, as on Linux.
extern "C" int __wrap_close(int fd) {
  const int result = __real_close(fd);
  const int error = errno;
  return perform("close", std::to_string(fd), [&] {
    errno = error;
    return result;
  });
}

extern "C" int __wrap_ioctl(int fd, unsigned long code, void* record) {
  if (!toolRuns || inDevices) {
    return __real_ioctl(fd, code, record);
  }
  return answer([&] { return sim::answerRequest(fd, static_cast<std::uint32_t>(code), record); });
}
