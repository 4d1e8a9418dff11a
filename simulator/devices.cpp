#include "devices.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <vector>

#include "settings.h"

namespace sim {

namespace {

std::vector<Object>& objects() {
  static auto& objects = *new std::vector<Object>;  // in use until the last exit handler
  return objects;
}

const char* nameOf(Kind kind) {
  return kind == Kind::Ion ? "/dev/ion" : kind == Kind::Ge2d ? "/dev/ge2d" : "buffer";
}

[[gnu::format(printf, 1, 2)]] void logLine(const char* format, ...) {
  // Opened for each line: the tool's own descriptors keep the numbers of an ordinary run.
  const int fd = open(settings().log.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (fd < 0) {
    fail("%s: %s", settings().log.c_str(), strerror(errno));
  }
  std::va_list args;
  va_start(args, format);
  vdprintf(fd, format, args);
  va_end(args);
  close(fd);
}

std::string resultText(int result) {
  return result >= 0 ? std::to_string(result) : std::string("-1 ") + strerrorname_np(-result);
}

// The fields as name=value; those only that differ from before, if that is given.
std::string describe(const char* fields, const std::int32_t* words, const std::int32_t* before) {
  std::ostringstream text;
  std::istringstream names(fields);
  int at = 0;
  for (std::string name; names >> name;) {
    const std::size_t plus = name.find_first_not_of('+');
    const int width = plus == 2 ? 2 : 1;
    if (before == nullptr ||
        memcmp(words + at, before + at, 4U * static_cast<unsigned>(width)) != 0) {
      text << (text.tellp() > 0 ? " " : "") << name.substr(plus) << '=';
      std::uint64_t value = 0;
      memcpy(&value, words + at, 4U * static_cast<unsigned>(width));
      plus == 0 ? text << words[at] : text << value;
    }
    at += width;
  }
  return text.str();
}

// Where the record holds its descriptor, in words.
int descriptorWord(const Request& request) { return request.size == 24 ? 4 : 1; }

int perform(const Request& request, std::int32_t* words, std::string& note) {
  const Fault* const fault = nextFault(request.name);
  if (fault != nullptr && fault->kind == Fault::Kind::Errno) {
    return -fault->value;
  }
  if (fault != nullptr && fault->kind == Fault::Kind::NoDescriptor) {
    words[descriptorWord(request)] = -1;
    return 0;
  }
  const int result = request.perform(words, note);
  return result == 0 && fault != nullptr ? fault->value : result;
}

}  // namespace

bool logging() { return !settings().log.empty(); }

bool isDevice(const char* path) {
  return path != nullptr &&
         (strcmp(path, nameOf(Kind::Ion)) == 0 || strcmp(path, nameOf(Kind::Ge2d)) == 0);
}

const Object* objectOf(int fd) {
  struct stat64 status = {};
  if (fstat64(fd, &status) == 0) {
    for (const Object& object : objects()) {
      if (object.device == status.st_dev && object.inode == status.st_ino) {
        return &object;
      }
    }
  }
  return nullptr;
}

int makeObject(Kind kind, std::uint64_t size, std::uint64_t backedSize, unsigned descriptorFlags) {
  const int fd = memfd_create(nameOf(kind), descriptorFlags);
  if (fd < 0) {
    return -errno;
  }
  struct stat64 status = {};
  if ((backedSize > 0 && fallocate64(fd, 0, 0, static_cast<off64_t>(backedSize)) != 0) ||
      fstat64(fd, &status) != 0) {
    const int error = errno;
    close(fd);
    return -error;
  }
  unsigned number = 1;
  for (const Object& object : objects()) {
    number += object.kind == kind ? 1 : 0;
  }
  objects().push_back({status.st_dev, status.st_ino, kind, number, size});
  return fd;
}

int openDevice(const char* path, int flags) {
  const Kind kind = strcmp(path, nameOf(Kind::Ion)) == 0 ? Kind::Ion : Kind::Ge2d;
  const Node node = kind == Kind::Ion ? settings().ion : settings().ge2d;
  int result = node == Node::Absent ? -ENOENT : -EACCES;
  if (node == Node::Present) {
    result = makeObject(kind, 0, 0, (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0);
  }
  if (logging()) {
    const char* const access[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_ACCMODE"};
    const int others = flags & ~(O_ACCMODE | O_CLOEXEC);
    logLine("open %s %s%s%s = %s\n", path, access[flags & O_ACCMODE],
            (flags & O_CLOEXEC) != 0 ? "|O_CLOEXEC" : "", others != 0 ? "|others" : "",
            resultText(result).c_str());
  }
  return result;
}

bool answerRequest(int fd, unsigned long code, void* record, int& result) {
  if (fcntl(fd, F_GETFD) == -1) {
    result = -EBADF;
    return true;
  }
  const Object* const object = objectOf(fd);
  if (object == nullptr || object->kind == Kind::Buffer) {
    return false;
  }
  const auto number = static_cast<std::uint32_t>(code);
  const Request* const request =
      object->kind == Kind::Ion ? findIonRequest(number) : findGe2dRequest(number);
  if (request == nullptr || record == nullptr) {
    result = request == nullptr ? -ENOTTY : -EFAULT;
    if (logging()) {
      logLine("ioctl %d %08x = %s\n", fd, number, resultText(result).c_str());
    }
    return true;
  }
  // As a driver does: copy in, work on the copy, copy out on success.
  std::int32_t before[20] = {};
  std::int32_t words[20] = {};
  memcpy(before, record, request->size);
  memcpy(words, record, request->size);
  std::string note;
  result = perform(*request, words, note);
  if (result >= 0) {
    memcpy(record, words, request->size);
  }
  if (logging()) {
    logLine("ioctl %d %08x %s {%s} = %s {%s}\n%s", fd, number, request->name,
            describe(request->fields, before, nullptr).c_str(), resultText(result).c_str(),
            result >= 0 ? describe(request->fields, words, before).c_str() : "", note.c_str());
  }
  return true;
}

int beforeMap(int fd, std::size_t length, int protection, int flags) {
  if (fd < 0 || (!logging() && settings().faults.empty())) {
    return 0;
  }
  const Object* const object = objectOf(fd);
  if (object == nullptr || object->kind != Kind::Buffer) {
    return 0;
  }
  const Fault* const fault = nextFault("map");
  const int result = fault != nullptr ? -fault->value : 0;
  if (logging()) {
    logLine("map buffer %u %zu bytes %s%s%s = %s\n", object->number, length,
            (protection & PROT_READ) != 0 ? "r" : "-", (protection & PROT_WRITE) != 0 ? "w" : "-",
            (flags & MAP_SHARED) != 0 ? " shared" : "", resultText(result).c_str());
  }
  return result;
}

void beforeClose(int fd) {
  const Object* const object = logging() ? objectOf(fd) : nullptr;
  if (object != nullptr) {
    logLine("close %d %s", fd, nameOf(object->kind));
    object->kind == Kind::Buffer ? logLine(" %u\n", object->number) : logLine("\n");
  }
}

}  // namespace sim
