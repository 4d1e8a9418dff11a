// The simulated ION allocator: one heap, number 1, of plain memory in whole pages.

#include <cerrno>
#include <map>

#include "simulator/devices.h"
#include "simulator/settings.h"

namespace sim {

namespace {

struct ModernAlloc {
  std::uint64_t length;
  std::uint32_t heaps, flags;
  std::int32_t fd;
  std::uint32_t reserved;
};

struct LegacyAlloc {
  std::size_t length, alignment;
  std::uint32_t heaps, flags;
  std::int32_t handle;
};

struct Share {
  std::int32_t handle, fd;
};

constexpr std::uint64_t wholePages(std::uint64_t bytes) { return (bytes + 4095) / 4096 * 4096; }

std::uint64_t used = 0;  // bytes
unsigned buffers = 0;
// The name of each handle's buffer. The memory is made when the handle is shared: as in a kernel,
// the process has no descriptor of it before that.
std::map<std::int32_t, std::string> handles;

// Takes memory from the heap and names the buffer. The memory counts as used until the process
// ends, even if everything is closed.
int reserve(std::uint64_t length, std::uint32_t heaps, std::string& name) {
  // The kernels round up in 32 bits, so a length in the last page would become 0.
  if (length == 0 || length > UINT32_MAX - 4095) {
    return -EINVAL;
  }
  if ((heaps & 1U << 1) == 0) {
    return -ENODEV;
  }
  if (wholePages(length) > settings().memory - used) {
    return -ENOMEM;
  }
  used += wholePages(length);
  name = "buffer " + std::to_string(++buffers) + " of " + std::to_string(length) + " bytes";
  return 0;
}

int makeBuffer(const std::string& name, std::int32_t& fd) {
  const int made = makeFile(name, wholePages(bufferLength(name)));
  if (made == -1) {
    return -errno;
  }
  fd = made;
  return 0;
}

int alloc(void* record) {
  ModernAlloc& asked = *static_cast<ModernAlloc*>(record);
  std::string name;
  const int result = reserve(asked.length, asked.heaps, name);
  return result < 0 ? result : makeBuffer(name, asked.fd);
}

// The modern allocator has no free. It is listed because the tool probes with it.
int noFree(void* /*record*/) { return -ENOTTY; }

int legacyAlloc(void* record) {
  LegacyAlloc& asked = *static_cast<LegacyAlloc*>(record);
  std::string name;
  const int result = reserve(asked.length, asked.heaps, name);
  if (result == 0) {
    asked.handle = 1;
    while (handles.count(asked.handle) > 0) {
      ++asked.handle;
    }
    handles[asked.handle] = name;
  }
  return result;
}

int legacyShare(void* record) {
  Share& asked = *static_cast<Share*>(record);
  const auto found = handles.find(asked.handle);
  return found == handles.end() ? -EINVAL : makeBuffer(found->second, asked.fd);
}

int legacyFree(void* record) {
  return handles.erase(*static_cast<std::int32_t*>(record)) == 1 ? 0 : -EINVAL;
}

}  // namespace

std::vector<Request> ionRequests() {
  if (settings().ion == "modern") {
    return {{kIon, 0xC0044901, "free", 4, "handle", noFree},
            {kIon, 0xC0184900, "alloc", sizeof(ModernAlloc), "++len +heap_mask +flags fd +reserved",
             alloc, 4}};
  }
  // The legacy allocation's lengths are as wide as the process's pointers.
  const bool wide = sizeof(std::size_t) == 8;
  return {{kIon, wide ? 0xC0204900 : 0xC0144900, "alloc", sizeof(LegacyAlloc),
           wide ? "++len ++align +heap_mask +flags handle" : "+len +align +heap_mask +flags handle",
           legacyAlloc},
          {kIon, 0xC0044901, "free", 4, "handle", legacyFree},
          {kIon, 0xC0084904, "share", sizeof(Share), "handle fd", legacyShare, 1}};
}

}  // namespace sim
