#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What the simulated drivers share. Requests have results as in a kernel: 0 or more, or a negated
// errno.
namespace sim {

// A simulated descriptor is a memory file, and its name says all that is known of it: "/dev/ion",
// "/dev/ge2d", or "buffer 1 of 9 bytes". So the kernel keeps track of them, duplicates included.
constexpr const char* kIon = "/dev/ion";
constexpr const char* kGe2d = "/dev/ge2d";
// Returns an empty name for any other descriptor.
std::string nameOf(int fd);
// Returns the length in a buffer's name, in bytes, or 0 if the name is no buffer's.
std::size_t bufferLength(const std::string& name);
// Like open(2), returns a new descriptor, or -1 with errno set. The backed bytes get their memory
// at once, as from an allocator.
int makeFile(const std::string& name, std::uint64_t backed);

// A request that a driver knows.
struct Request {
  const char* device;
  std::uint32_t code;
  const char* name;
  std::size_t size;    // of the record, bytes
  const char* fields;  // of the record; "+" marks an unsigned word, "++" an unsigned 64-bit one
  // Works on a copy of the record, which is always copied back. So a failed request must not change
  // it.
  int (*carryOut)(void* record);
  int descriptor = 0;  // index of the word that gets a new descriptor, or 0
};

// The requests of the devices that the settings choose: of each driver, and all in one list.
std::vector<Request> ionRequests();
std::vector<Request> ge2dRequests();
std::vector<Request> requests();

bool isDevice(const std::string& path);

// Like open(2), opens one of the two devices.
int openDevice(const std::string& path);

// Answers a request and logs it. No other descriptor knows any request.
int answerRequest(int fd, std::uint32_t code, void* record);

}  // namespace sim
