#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>

// The simulated allocator and display driver. Results are the kernel's: 0 or more, or a negated
// errno.
namespace sim {

bool isDevice(const char* path);

// Returns a new descriptor on the device.
int openDevice(const char* path, int flags);

// True if the simulated devices answer the request on fd: result is the answer. They also answer
// for a descriptor that isn't open, with the kernel's EBADF, because an emulator may say something
// else.
bool answerRequest(int fd, unsigned long code, void* record, int& result);

// To be told before fd is mapped or closed. beforeMap's negated errno means: do not map.
int beforeMap(int fd, std::size_t length, int protection, int flags);
void beforeClose(int fd);

// Whether anybody reads the log: without it no call does work for it.
bool logging();

// What a simulated descriptor stands for. It is known by the file behind it, so that duplicates
// need no bookkeeping.
enum class Kind { Ion, Ge2d, Buffer };
struct Object {
  dev_t device;
  ino64_t inode;
  Kind kind;
  unsigned number;     // of its kind, from 1
  std::uint64_t size;  // of a buffer, bytes as asked for
};

// The object behind fd, or null.
const Object* objectOf(int fd);
// Makes an object, its memory backed at once as an allocator's is, and returns a descriptor on it.
// Of the flags O_CLOEXEC counts.
int makeObject(Kind kind, std::uint64_t size, std::uint64_t backedSize, int flags);

// One kind of request. Records are lists of 32-bit words; in fields "+" marks an unsigned word and
// "++" an unsigned pair. Deliberately not the tool's own structs: a slip there must show here.
struct Request {
  std::uint32_t code;
  const char* name;
  std::size_t size;  // bytes
  const char* fields;
  // Works on the driver's own copy of the record; note, if set, becomes a log line of its own.
  int (*perform)(std::int32_t* words, std::string& note);
};

template <std::size_t count>
const Request* findRequest(const Request (&requests)[count], std::uint32_t code) {
  for (const Request& request : requests) {
    if (request.code == code) {
      return &request;
    }
  }
  return nullptr;
}

// Null if the device doesn't know the request.
const Request* findIonRequest(std::uint32_t code);
const Request* findGe2dRequest(std::uint32_t code);

}  // namespace sim
