// The simulated ION allocator: one heap, number 1, of plain memory in whole pages.

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "devices.h"
#include "settings.h"

namespace sim {

namespace {

constexpr std::uint64_t kPage = 4096;
constexpr std::uint32_t kHeapMask = 1U << 1;

struct Handle {
  std::int32_t number;
  int fd;  // keeps the memory until the handle is freed
};

std::vector<Handle> handles;

// Memory counts as used until the process ends, whatever is closed.
std::uint64_t memoryUsed = 0;

int allocate(std::uint64_t length, std::uint32_t heapMask) {
  if (length == 0) {
    return -EINVAL;
  }
  if ((heapMask & kHeapMask) == 0) {
    return -ENODEV;
  }
  const std::uint64_t backed = (length + kPage - 1) / kPage * kPage;
  if (length > UINT32_MAX || backed > settings().memory - memoryUsed) {
    return -ENOMEM;
  }
  const int fd = makeObject(Kind::Buffer, length, backed, O_CLOEXEC);
  memoryUsed += fd >= 0 ? backed : 0;
  return fd;
}

int modernAlloc(std::int32_t* words, std::string& /*note*/) {
  std::uint64_t length = 0;
  memcpy(&length, words, sizeof length);
  const int fd = words[5] != 0 ? -EINVAL : allocate(length, static_cast<std::uint32_t>(words[2]));
  if (fd < 0) {
    return fd;
  }
  words[4] = fd;
  return 0;
}

int legacyAlloc(std::int32_t* words, std::string& /*note*/) {
  static std::int32_t lastNumber = 0;
  const int fd =
      allocate(static_cast<std::uint32_t>(words[0]), static_cast<std::uint32_t>(words[2]));
  if (fd < 0) {
    return fd;
  }
  handles.push_back({++lastNumber, fd});
  words[4] = lastNumber;
  return 0;
}

int legacyShare(std::int32_t* words, std::string& /*note*/) {
  for (const Handle& handle : handles) {
    if (handle.number == words[0]) {
      const int fd = fcntl(handle.fd, F_DUPFD_CLOEXEC, 0);
      words[1] = fd;
      return fd < 0 ? -errno : 0;
    }
  }
  return -EINVAL;
}

int legacyFree(std::int32_t* words, std::string& /*note*/) {
  for (auto handle = handles.begin(); handle != handles.end(); ++handle) {
    if (handle->number == words[0]) {
      syscall(SYS_close, handle->fd);  // not a close of the tool's: it stays out of the log
      handles.erase(handle);
      return 0;
    }
  }
  return -EINVAL;
}

constexpr Request kModern[] = {
    {0xC0184900, "alloc", 24, "++len +heap_mask +flags fd +reserved", modernAlloc},
};
constexpr Request kLegacy[] = {
    {0xC0144900, "alloc", 20, "+len +align +heap_mask +flags handle", legacyAlloc},
    {0xC0044901, "free", 4, "handle", legacyFree},
    {0xC0084904, "share", 8, "handle fd", legacyShare},
};

}  // namespace

const Request* findIonRequest(std::uint32_t code) {
  return settings().ion == "legacy" ? findRequest(kLegacy, code) : findRequest(kModern, code);
}

}  // namespace sim
