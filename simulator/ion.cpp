// The simulated ION allocator: one heap, number 1, of plain memory in whole pages.

#include <sys/stat.h>

#include <cstring>
#include <map>

#include "devices.h"

namespace sim {

namespace {

// Takes memory from the heap and names the buffer. The memory counts until the process ends,
// whatever is closed.
int reserve(std::uint64_t length, std::int32_t heapMask, std::string& name) {
  static std::uint64_t used = 0;
  static unsigned buffers = 0;
  // The kernels round up in 32 bits, where the lengths of the last page become 0.
  if (length == 0 || length > UINT32_MAX - 4095) {
    return -EINVAL;
  }
  if ((heapMask & 1 << 1) == 0) {
    return -ENODEV;
  }
  if (wholePages(length) > settings().memory - used) {
    return -ENOMEM;
  }
  used += wholePages(length);
  name = "buffer " + std::to_string(++buffers) + " of " + std::to_string(length) + " bytes";
  return 0;
}

// Stores the buffer's new descriptor, or the negated errno, and returns the request's result.
int makeBuffer(const std::string& name, std::int32_t& fd) {
  fd = makeFile(name, wholePages(bufferLength(name)), true);
  return fd < 0 ? fd : 0;
}

int modernAlloc(int /*ion*/, std::int32_t* words) {
  std::uint64_t length = 0;
  memcpy(&length, words, sizeof length);
  if (words[5] != 0) {
    return -EINVAL;  // stricter than the kernel, on purpose: it ignores what it may use one day
  }
  std::string name;
  std::int32_t fd = 0;
  int result = reserve(length, words[2], name);
  if (result == 0) {
    result = makeBuffer(name, fd);
  }
  words[4] = result == 0 ? fd : words[4];
  return result;
}

int unknownToModern(int /*ion*/, std::int32_t* /*words*/) { return -ENOTTY; }

// A handle belongs to one open of the device, told apart by its file's inode. It holds its memory
// through no descriptor of the tool's, as in a kernel: the memory is made when it is first shared,
// and anew when the descriptor that was made for it last has been closed.
struct Handle {
  std::string name;
  int shared = -1;  // the last descriptor made for it
};
std::map<std::int32_t, Handle>& handlesOf(int ion) {
  static auto& all = *new std::map<ino_t, std::map<std::int32_t, Handle>>;
  struct stat status = {};
  fstat(ion, &status);
  return all[status.st_ino];
}

int legacyAlloc(int ion, std::int32_t* words) {
  Handle handle;
  const int result = reserve(static_cast<std::uint32_t>(words[0]), words[2], handle.name);
  if (result == 0) {
    auto& handles = handlesOf(ion);
    std::int32_t lowest = 1;
    while (handles.count(lowest) > 0) {
      ++lowest;
    }
    handles[lowest] = handle;
    words[4] = lowest;
  }
  return result;
}

int legacyShare(int ion, std::int32_t* words) {
  const auto found = handlesOf(ion).find(words[0]);
  if (found == handlesOf(ion).end()) {
    return -EINVAL;
  }
  auto& [name, shared] = found->second;
  if (nameOf(shared) != name) {
    const int result = makeBuffer(name, words[1]);
    shared = words[1];
    return result;
  }
  words[1] = fcntl(shared, F_DUPFD_CLOEXEC, 0);
  words[1] = words[1] < 0 ? -errno : words[1];
  return words[1] < 0 ? words[1] : 0;
}

int legacyFree(int ion, std::int32_t* words) {
  return handlesOf(ion).erase(words[0]) == 1 ? 0 : -EINVAL;
}

}  // namespace

const std::vector<Request>& ionRequests() {
  // The modern allocator knows no free; it is here by name because the tool probes with it.
  static const auto& requests = *new std::vector<Request>{
      {kIon, "modern", 0xC0044901, "free", 4, "handle", unknownToModern},
      {kIon, "modern", 0xC0184900, "alloc", 24, "++len +heap_mask +flags fd +reserved", modernAlloc,
       4},
      {kIon, "legacy", 0xC0144900, "alloc", 20, "+len +align +heap_mask +flags handle",
       legacyAlloc},
      {kIon, "legacy", 0xC0044901, "free", 4, "handle", legacyFree},
      {kIon, "legacy", 0xC0084904, "share", 8, "handle fd", legacyShare, 1, true},
  };
  return requests;
}

}  // namespace sim
