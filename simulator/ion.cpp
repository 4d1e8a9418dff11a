// The simulated ION allocator: one heap, number 1, of plain memory in whole pages.

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "devices.h"
#include "settings.h"

namespace sim {

namespace {

constexpr std::uint64_t kPage = 4096;
constexpr std::int32_t kHeap1 = 1 << 1;

// Each keeps its memory, through a descriptor of its own, until it is freed.
std::map<std::int32_t, int> handles;

int allocate(std::uint64_t length, std::int32_t heapMask) {
  static std::uint64_t used = 0;  // bytes; memory counts until the process ends, whatever is closed
  static unsigned buffers = 0;
  const std::uint64_t backed = (length + kPage - 1) / kPage * kPage;
  if (length == 0) {
    return -EINVAL;
  }
  if ((heapMask & kHeap1) == 0) {
    return -ENODEV;
  }
  if (length > UINT32_MAX || backed > settings().memory - used) {
    return -ENOMEM;
  }
  const int fd =
      makeFile("buffer " + std::to_string(buffers + 1) + " of " + std::to_string(length) + " bytes",
               backed, true);
  if (fd >= 0) {
    used += backed;
    ++buffers;
  }
  return fd;
}

}  // namespace

int modernAlloc(std::int32_t* words) {
  std::uint64_t length = 0;
  memcpy(&length, words, sizeof length);
  const int fd = words[5] != 0 ? -EINVAL : allocate(length, words[2]);
  words[4] = fd;
  return fd < 0 ? fd : 0;
}

int legacyAlloc(std::int32_t* words) {
  static std::int32_t lastHandle = 0;
  const int fd = allocate(static_cast<std::uint32_t>(words[0]), words[2]);
  if (fd < 0) {
    return fd;
  }
  handles[++lastHandle] = fd;
  words[4] = lastHandle;
  return 0;
}

int legacyShare(std::int32_t* words) {
  const auto handle = handles.find(words[0]);
  if (handle == handles.end()) {
    return -EINVAL;
  }
  words[1] = fcntl(handle->second, F_DUPFD_CLOEXEC, 0);
  return words[1] < 0 ? -errno : 0;
}

int legacyFree(std::int32_t* words) {
  const auto handle = handles.find(words[0]);
  if (handle == handles.end()) {
    return -EINVAL;
  }
  syscall(SYS_close, handle->second);  // not a close of the tool's: it stays out of the log
  handles.erase(handle);
  return 0;
}

}  // namespace sim
