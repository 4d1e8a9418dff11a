#include "buffers/ion.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "common/debug.h"

namespace {

// The kernel's records. The one for a legacy allocation has size_t members: a 64-bit process sends
// a longer record, and so another request number.
constexpr bool k64Bits = sizeof(std::size_t) == 8;

struct ion_handle_req {
  std::int32_t handle;
};
static_assert(sizeof(ion_handle_req) == 4 && offsetof(ion_handle_req, handle) == 0);

struct ion_share_req {
  std::int32_t handle;
  std::int32_t fd;  // out
};
static_assert(sizeof(ion_share_req) == 8 && offsetof(ion_share_req, handle) == 0 &&
              offsetof(ion_share_req, fd) == 4);

struct ion_legacy_alloc_req {
  std::size_t len;
  std::size_t align;
  std::uint32_t heap_mask;
  std::uint32_t flags;
  std::int32_t handle;  // out
};
static_assert(sizeof(ion_legacy_alloc_req) == (k64Bits ? 32 : 20) &&
              offsetof(ion_legacy_alloc_req, len) == 0 &&
              offsetof(ion_legacy_alloc_req, align) == (k64Bits ? 8 : 4) &&
              offsetof(ion_legacy_alloc_req, heap_mask) == (k64Bits ? 16 : 8) &&
              offsetof(ion_legacy_alloc_req, flags) == (k64Bits ? 20 : 12) &&
              offsetof(ion_legacy_alloc_req, handle) == (k64Bits ? 24 : 16));

struct ion_alloc_req {
  std::uint64_t len;
  std::uint32_t heap_mask;
  std::uint32_t flags;
  std::int32_t fd;  // out
  std::uint32_t reserved;
};
static_assert(sizeof(ion_alloc_req) == 24 && offsetof(ion_alloc_req, len) == 0 &&
              offsetof(ion_alloc_req, heap_mask) == 8 && offsetof(ion_alloc_req, flags) == 12 &&
              offsetof(ion_alloc_req, fd) == 16 && offsetof(ion_alloc_req, reserved) == 20);

// The two allocations have the same type and number. Only the record's size tells them apart.
constexpr std::uint32_t kLegacyAlloc = _IOWR('I', 0, ion_legacy_alloc_req);
constexpr std::uint32_t kLegacyFree = _IOWR('I', 1, ion_handle_req);
constexpr std::uint32_t kLegacyShare = _IOWR('I', 4, ion_share_req);
constexpr std::uint32_t kModernAlloc = _IOWR('I', 0, ion_alloc_req);
static_assert(kLegacyAlloc == (k64Bits ? 0xC0204900 : 0xC0144900) && kLegacyFree == 0xC0044901 &&
              kLegacyShare == 0xC0084904 && kModernAlloc == 0xC0184900);

constexpr std::int32_t ION_ABI_UNKNOWN = 0;
constexpr std::int32_t ION_ABI_MODERN = 1;
constexpr std::int32_t ION_ABI_LEGACY = 2;

std::atomic<std::int32_t> ion_abi_state{ION_ABI_UNKNOWN};

[[gnu::format(printf, 1, 2)]] void ALOGE(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  printMessage(format, args);
  va_end(args);
}

// The only place that issues a request. Returns the ioctl's result, or minus errno.
template <typename Record>
int ion_request(int fd, std::uint32_t request, Record& record) {
  const int result = ioctl(fd, request, &record);
  if (result < 0) {
    const int error = errno;
    ALOGE("ioctl %x failed with code %d: %s\n", request, result, strerror(error));
    return -error;
  }
  return result;
}

// A modern kernel doesn't know the legacy free request. A legacy one gives any other answer to it.
// Two threads may probe at the same time: both store the same answer.
std::int32_t ion_detect_abi(int fd) {
  std::int32_t state = ion_abi_state.load(std::memory_order_acquire);
  if (state == ION_ABI_UNKNOWN) {
    ion_handle_req none = {};
    state = ion_request(fd, kLegacyFree, none) == -ENOTTY ? ION_ABI_MODERN : ION_ABI_LEGACY;
    ion_abi_state.store(state, std::memory_order_release);
  }
  return state;
}

}  // namespace

int ion_open() {
  const int fd = open("/dev/ion", O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    ALOGE("open /dev/ion failed: %s\n", strerror(errno));
  }
  return fd;
}

int ion_alloc(int fd, std::size_t len, std::size_t align, unsigned int heap_mask,
              unsigned int flags, int* handle) {
  if (handle == nullptr) {
    return -EINVAL;
  }
  if (ion_detect_abi(fd) != ION_ABI_LEGACY) {
    return -EINVAL;
  }
  ion_legacy_alloc_req record = {};
  record.len = len;
  record.align = align;
  record.heap_mask = heap_mask;
  record.flags = flags;
  const int result = ion_request(fd, kLegacyAlloc, record);
  if (result >= 0) {
    *handle = record.handle;
  }
  return result;
}

int ion_share(int fd, int handle, int* share_fd) {
  ion_share_req record = {};
  record.handle = handle;
  const std::int32_t state = ion_detect_abi(fd);
  if (share_fd == nullptr || state != ION_ABI_LEGACY) {
    return -EINVAL;
  }
  const int result = ion_request(fd, kLegacyShare, record);
  if (result < 0) {
    return result;
  }
  if (record.fd < 0) {
    ALOGE("share ioctl returned negative fd\n");
    return -EINVAL;
  }
  *share_fd = record.fd;
  return result;
}

int ion_alloc_fd(int fd, std::size_t len, std::size_t align, unsigned int heap_mask,
                 unsigned int flags, int* handle_fd) {
  if (handle_fd == nullptr) {
    return -EINVAL;
  }
  if (ion_detect_abi(fd) == ION_ABI_MODERN) {
    ion_alloc_req record = {};
    record.len = len;
    record.heap_mask = heap_mask;
    record.flags = flags;
    const int result = ion_request(fd, kModernAlloc, record);
    if (result >= 0) {
      *handle_fd = record.fd;
    }
    return result;
  }

  ion_handle_req handle = {};
  const int allocated = ion_alloc(fd, len, align, heap_mask, flags, &handle.handle);
  if (allocated < 0) {
    return allocated;
  }
  const int shared = ion_share(fd, handle.handle, handle_fd);
  // The descriptor keeps the memory alive, and a handle that is not freed would leak it. A failed
  // free is reported and changes nothing else.
  ion_request(fd, kLegacyFree, handle);
  return shared;
}
