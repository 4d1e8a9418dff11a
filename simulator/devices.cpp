#include "devices.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "settings.h"

namespace sim {

namespace {

// Plain text, there before any constructor has run: so are the preloaded calls.
constexpr std::string_view kIon = "/dev/ion";
constexpr std::string_view kGe2d = "/dev/ge2d";

// The modern allocator has no handles; the request is known by name only, because the tool probes
// with it.
int unknownRequest(std::int32_t* /*words*/) { return -ENOTTY; }

// In fields "+" marks an unsigned word and "++" an unsigned pair. Deliberately not the tool's own
// structs: a slip there must show here.
struct Request {
  const char* driver;  // the allocator's interface, or the display's node
  std::uint32_t code;
  const char* name;
  std::size_t size;  // bytes
  const char* fields;
  int (*perform)(std::int32_t* words);
};

constexpr Request kRequests[] = {
    {"modern", 0xC0044901, "free", 4, "handle", unknownRequest},
    {"modern", 0xC0184900, "alloc", 24, "++len +heap_mask +flags fd +reserved", modernAlloc},
    {"legacy", 0xC0144900, "alloc", 20, "+len +align +heap_mask +flags handle", legacyAlloc},
    {"legacy", 0xC0044901, "free", 4, "handle", legacyFree},
    {"legacy", 0xC0084904, "share", 8, "handle fd", legacyShare},
    {"ge2d", 0x4631, "put", 80,
     "+channel param_a format param_b param_c param_d window_x window_y window_w window_h compress "
     "buf_width buf_height crop_x crop_y crop_w crop_h dma_buf_fd param_e out_value",
     putPlane},
    {"ge2d", 0x4632, "present", 8, "+channel +enable", presentPlane},
    {"ge2d", 0x4635, "fastlogo", 4, "mode", setFastlogo},
};

std::string resultText(int result) {
  return " = " +
         (result < 0 ? std::string("-1 ") + strerrorname_np(-result) : std::to_string(result));
}

// The record's fields as name=value; those only that differ from before, if that is given.
std::string describe(const Request& request, const std::int32_t* words,
                     const std::int32_t* before) {
  std::string text;
  for (const std::string& field : split(request.fields, ' ')) {
    const std::size_t plus = field.find_first_not_of('+');
    const std::size_t count = plus == 2 ? 2 : 1;
    std::uint64_t value = 0;
    memcpy(&value, words, count * sizeof *words);
    if (before == nullptr || memcmp(words, before, count * sizeof *words) != 0) {
      text += (text.empty() ? "" : " ") + field.substr(plus) + "=" +
              (plus == 0 ? std::to_string(*words) : std::to_string(value));
    }
    words += count;
    before += before == nullptr ? 0 : count;
  }
  return "{" + text + "}";
}

int perform(const Request& request, std::int32_t* words) {
  const Fault* const fault = nextFault(request.name);
  if (fault == nullptr || fault->answer > 0) {
    const int result = request.perform(words);
    return result == 0 && fault != nullptr ? fault->answer : result;
  }
  if (fault->answer == 0) {
    words[request.perform == modernAlloc ? 4 : 1] = -1;  // the descriptor
  }
  return fault->answer;
}

}  // namespace

bool logging() { return !settings().log.empty(); }

void logLine(const std::string& line) {
  // Opened for each line: the tool's own descriptors keep the numbers of an ordinary run.
  const int fd = open(settings().log.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  dprintf(fd, "%s\n", line.c_str());
  close(fd);
}

std::string nameOf(int fd) {
  char name[64] = "";
  const std::string before = "/memfd:";
  const std::string after = " (deleted)";
  const ssize_t got =
      readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), name, sizeof name - 1);
  const std::string link = got < 0 ? "" : name;
  const std::size_t length = before.size() + after.size();
  return link.rfind(before, 0) == 0 ? link.substr(before.size(), link.size() - length) : "";
}

int makeFile(const std::string& name, std::uint64_t backed, bool closeOnExec) {
  const int fd = memfd_create(name.c_str(), closeOnExec ? MFD_CLOEXEC : 0);
  if (fd >= 0 && (backed == 0 || fallocate64(fd, 0, 0, static_cast<off64_t>(backed)) == 0)) {
    return fd;
  }
  const int error = errno;
  syscall(SYS_close, fd);  // not a close of the tool's: it stays out of the log
  return -error;
}

bool isDevice(const char* path) { return path != nullptr && (path == kIon || path == kGe2d); }

int openDevice(const char* path, int flags) {
  const std::string& node = path == kIon ? settings().ion : settings().ge2d;
  const int result = node == "absent"      ? -ENOENT
                     : node == "forbidden" ? -EACCES
                                           : makeFile(path, 0, (flags & O_CLOEXEC) != 0);
  if (logging()) {
    const char* const access[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_ACCMODE"};
    const int others = flags & ~(O_ACCMODE | O_CLOEXEC);
    logLine("open " + std::string(path) + " " + access[flags & O_ACCMODE] +
            ((flags & O_CLOEXEC) != 0 ? "|O_CLOEXEC" : "") +
            (others != 0 ? "|" + std::to_string(others) : "") + resultText(result));
  }
  return result;
}

bool answerRequest(int fd, unsigned long code, void* record, int& result) {
  const std::string device = nameOf(fd);
  result = fcntl(fd, F_GETFD) == -1 ? -EBADF : -ENOTTY;
  if (device != kIon && device != kGe2d) {
    return result == -EBADF;
  }
  const std::string driver = device == kIon ? settings().ion : "ge2d";
  const Request* request = nullptr;
  for (const Request& known : kRequests) {
    request =
        known.driver == driver && known.code == static_cast<std::uint32_t>(code) ? &known : request;
  }
  char text[32];
  std::snprintf(text, sizeof text, "ioctl %d %08x", fd, static_cast<unsigned>(code));
  std::string asked;
  std::string changed;
  if (request != nullptr && record == nullptr) {
    result = -EFAULT;
  } else if (request != nullptr) {
    // As a driver does: copy in, work on the copy, copy out on success.
    std::int32_t before[20] = {};
    std::int32_t words[20] = {};
    memcpy(before, record, request->size);
    memcpy(words, record, request->size);
    result = perform(*request, words);
    if (result >= 0) {
      memcpy(record, words, request->size);
    }
    if (logging()) {
      asked = std::string(" ") + request->name + " " + describe(*request, before, nullptr);
      changed = result < 0 ? "" : " " + describe(*request, words, before);
    }
  }
  if (logging()) {
    logLine(text + asked + resultText(result) + changed);
  }
  return true;
}

int mapFault(int fd) {
  // Memory without a file is mapped before the process has an environment to read settings from.
  const bool asked = fd >= 0 && !settings().faults.empty() && nameOf(fd).rfind("buffer", 0) == 0;
  const Fault* const fault = asked ? nextFault("map") : nullptr;
  return fault != nullptr ? fault->answer : 0;
}

void afterMap(int fd, std::size_t length, int protection, int flags, int result) {
  const std::string name = fd >= 0 && logging() ? nameOf(fd) : "";
  if (name.rfind("buffer", 0) == 0) {
    logLine("map " + name + ": " + std::to_string(length) + " bytes " +
            ((protection & PROT_READ) != 0 ? "r" : "-") +
            ((protection & PROT_WRITE) != 0 ? "w" : "-") +
            ((flags & MAP_SHARED) != 0 ? " shared" : "") + resultText(result));
  }
}

void beforeClose(int fd) {
  const std::string name = logging() ? nameOf(fd) : "";
  if (!name.empty()) {
    logLine("close " + std::to_string(fd) + " " + name);
  }
}

}  // namespace sim
