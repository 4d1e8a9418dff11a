#include "devices.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
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

std::string nameOf(const Object& object) {
  return nameOf(object.kind) +
         (object.kind == Kind::Buffer ? " " + std::to_string(object.number) : "");
}

void logLine(const std::string& line) {
  // Opened for each line: the tool's own descriptors keep the numbers of an ordinary run.
  const int fd = open(settings().log.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  dprintf(fd, "%s\n", line.c_str());
  close(fd);
}

std::string resultText(int result) {
  return " = " +
         (result >= 0 ? std::to_string(result) : "-1 " + std::string(strerrorname_np(-result)));
}

// The record's fields as name=value; those only that differ from before, if that is given.
std::string describe(const char* fields, const std::int32_t* words, const std::int32_t* before) {
  std::string text;
  for (const std::string& name : split(fields, ' ')) {
    const std::size_t plus = name.find_first_not_of('+');
    const std::size_t count = plus == 2 ? 2 : 1;
    std::uint64_t value = 0;
    memcpy(&value, words, count * sizeof *words);
    if (before == nullptr || memcmp(words, before, count * sizeof *words) != 0) {
      text += (text.empty() ? "" : " ") + name.substr(plus) + "=" +
              (plus == 0 ? std::to_string(*words) : std::to_string(value));
    }
    words += count;
    before += before == nullptr ? 0 : count;
  }
  return "{" + text + "}";
}

int perform(const Request& request, std::int32_t* words, std::string& note) {
  const Fault* const fault = nextFault(request.name);
  if (fault == nullptr || fault->answer > 0) {
    const int result = request.perform(words, note);
    return result == 0 && fault != nullptr ? fault->answer : result;
  }
  if (fault->answer == 0) {
    words[request.size == 24 ? 4 : 1] = -1;  // the descriptor of a modern allocation, or of a share
  }
  return fault->answer;
}

}  // namespace

bool logging() { return !settings().log.empty(); }

bool isDevice(const char* path) {
  return path == std::string(nameOf(Kind::Ion)) || path == std::string(nameOf(Kind::Ge2d));
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

int makeObject(Kind kind, std::uint64_t size, std::uint64_t backedSize, int flags) {
  const int fd = memfd_create(nameOf(kind), (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0);
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
  const Kind kind = path == std::string(nameOf(Kind::Ion)) ? Kind::Ion : Kind::Ge2d;
  const std::string& node = kind == Kind::Ion ? settings().ion : settings().ge2d;
  const int result = node == "absent"      ? -ENOENT
                     : node == "forbidden" ? -EACCES
                                           : makeObject(kind, 0, 0, flags);
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
  if (fcntl(fd, F_GETFD) == -1) {
    result = -EBADF;
    return true;
  }
  const Object* const object = objectOf(fd);
  if (object == nullptr || object->kind == Kind::Buffer) {
    return false;
  }
  const auto number = static_cast<std::uint32_t>(code);
  char text[32];
  std::snprintf(text, sizeof text, "ioctl %d %08x", fd, number);
  const Request* const request =
      object->kind == Kind::Ion ? findIonRequest(number) : findGe2dRequest(number);
  if (request == nullptr || record == nullptr) {
    result = request == nullptr ? -ENOTTY : -EFAULT;
    if (logging()) {
      logLine(text + resultText(result));
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
    logLine(std::string(text) + " " + request->name + " " +
            describe(request->fields, before, nullptr) + resultText(result) +
            (result >= 0 ? " " + describe(request->fields, words, before) : ""));
    if (!note.empty()) {
      logLine(note);
    }
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
  const int result = fault != nullptr ? fault->answer : 0;
  if (logging()) {
    logLine("map " + nameOf(*object) + " " + std::to_string(length) + " bytes " +
            ((protection & PROT_READ) != 0 ? "r" : "-") +
            ((protection & PROT_WRITE) != 0 ? "w" : "-") +
            ((flags & MAP_SHARED) != 0 ? " shared" : "") + resultText(result));
  }
  return result;
}

void beforeClose(int fd) {
  const Object* const object = logging() ? objectOf(fd) : nullptr;
  if (object != nullptr) {
    logLine("close " + std::to_string(fd) + " " + nameOf(*object));
  }
}

}  // namespace sim
