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

class Allocator {
 public:
  int alloc(ModernAlloc& record) {
    std::string name;
    const int result = reserve(record.length, record.heaps, name);
    return result < 0 ? result : makeBuffer(name, record.fd);
  }

  int legacyAlloc(LegacyAlloc& record) {
    std::string name;
    const int result = reserve(record.length, record.heaps, name);
    if (result == 0) {
      record.handle = 1;
      while (mHandles.count(record.handle) > 0) {
        ++record.handle;
      }
      mHandles[record.handle] = name;
    }
    return result;
  }

  int share(Share& record) {
    const auto found = mHandles.find(record.handle);
    if (found == mHandles.end()) {
      return -EINVAL;
    }
    return makeBuffer(found->second, record.fd);
  }

  int free(std::int32_t& handle) { return mHandles.erase(handle) == 1 ? 0 : -EINVAL; }

 private:
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
    if (wholePages(length) > settings().memory - mUsed) {
      return -ENOMEM;
    }
    mUsed += wholePages(length);
    name = "buffer " + std::to_string(++mBuffers) + " of " + std::to_string(length) + " bytes";
    return 0;
  }

  static int makeBuffer(const std::string& name, std::int32_t& fd) {
    const int made = makeFile(name, wholePages(bufferLength(name)), true);
    fd = made < 0 ? fd : made;
    return made < 0 ? made : 0;
  }

  std::uint64_t mUsed = 0;  // bytes
  unsigned mBuffers = 0;
  // The name of each handle's buffer. The memory is made when the handle is shared: as in a kernel,
  // the process has no descriptor of it before that.
  std::map<std::int32_t, std::string> mHandles;
};

}  // namespace

const std::vector<Request>& ionRequests() {
  static auto* const allocator = new Allocator;
  // The modern allocator has no free. It is listed because the tool probes with it.
  static const auto& modern = *new std::vector<Request>{
      {kIon, 0xC0044901, "free", 4, "handle", [](void* /*record*/) { return -ENOTTY; }},
      {kIon, 0xC0184900, "alloc", 24, "++len +heap_mask +flags fd +reserved",
       by(allocator, &Allocator::alloc), 4}};
  // The legacy allocation's lengths are as wide as the process's pointers.
  const bool wide = sizeof(std::size_t) == 8;
  static const auto& legacy = *new std::vector<Request>{
      {kIon, wide ? 0xC0204900 : 0xC0144900, "alloc", sizeof(LegacyAlloc),
       wide ? "++len ++align +heap_mask +flags handle" : "+len +align +heap_mask +flags handle",
       by(allocator, &Allocator::legacyAlloc)},
      {kIon, 0xC0044901, "free", 4, "handle", by(allocator, &Allocator::free)},
      {kIon, 0xC0084904, "share", 8, "handle fd", by(allocator, &Allocator::share), 1}};
  return settings().ion == "modern" ? modern : legacy;
}

}  // namespace sim
