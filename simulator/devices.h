#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// What the simulated drivers share. Results are as in a kernel: 0 or more, or a negated errno.
// Their data are never destroyed, because the tool's last exit handlers may use them.
namespace sim {

// A simulated descriptor is a memory file, and its name says what it stands for: "/dev/ion",
// "/dev/ge2d" or "buffer 1 of 9 bytes". So the kernel keeps track of them, duplicates included.
constexpr const char* kIon = "/dev/ion";
constexpr const char* kGe2d = "/dev/ge2d";
// Returns an empty name for any other descriptor.
std::string nameOf(int fd);
// Returns the length that a buffer's name tells, in bytes, or 0 for any other name.
std::size_t bufferLength(const std::string& name);
// Returns a new descriptor. The backed bytes get their memory at once, as from an allocator.
int makeFile(const std::string& name, std::uint64_t backed, bool closeOnExec);

// A request that a driver knows.
struct Request {
  const char* device;
  std::uint32_t code;
  const char* name;
  std::size_t size;    // of the record, bytes
  const char* fields;  // of the record; "+" marks an unsigned word, "++" an unsigned 64-bit one
  // Works on a copy of the record, which is always copied back. So a failed request must not change
  // it.
  std::function<int(void* record)> perform;
  int descriptor = 0;  // index of the word that gets a new descriptor, or 0
};

// Makes a Request::perform of a driver's operation on its own kind of record.
template <typename Driver, typename Record>
std::function<int(void*)> by(Driver* driver, int (Driver::*operation)(Record&)) {
  return [=](void* record) { return (driver->*operation)(*static_cast<Record*>(record)); };
}

// The requests of the devices that the settings choose.
const std::vector<Request>& ionRequests();
const std::vector<Request>& ge2dRequests();

// The first of them that meets the condition, or null.
const Request* findRequest(const std::function<bool(const Request&)>& condition);

// Opens one of the two devices.
int openDevice(const std::string& path, bool closeOnExec);

// Answers a request and logs it. No other descriptor knows any request.
int answerRequest(int fd, std::uint32_t code, void* record);

}  // namespace sim
