#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// What the simulated drivers share. Results are the kernel's: 0 or more, or a negated errno. What
// they keep is made with new and never destroyed: the tool's last exit handlers may use it.
namespace sim {

// A simulated descriptor is a memory file, and its name says what it stands for: "/dev/ion",
// "/dev/ge2d" or "buffer 1 of 9 bytes". So the kernel keeps the table, duplicates included.
constexpr const char* kIon = "/dev/ion";
constexpr const char* kGe2d = "/dev/ge2d";
// The name of any other descriptor is empty.
std::string nameOf(int fd);
// The bytes that a buffer's name tells, 0 for any other name.
std::size_t bufferLength(const std::string& name);
// Returns a new descriptor; its memory is backed at once, as an allocator's is.
int makeFile(const std::string& name, std::uint64_t backed, bool closeOnExec);

// A request that a driver knows.
struct Request {
  const char* device;
  std::uint32_t code;
  const char* name;
  std::size_t size;    // of the record, bytes
  const char* fields;  // of the record; "+" marks an unsigned word and "++" an unsigned pair
  // Does the work on a copy of the record. A failed request leaves the tool's own alone, unless it
  // is one of those that a kernel copies back all the same.
  std::function<int(void* record)> perform;
  int descriptor = 0;              // the word that gets a new descriptor, if any
  bool errorInDescriptor = false;  // it gets the negated errno of a failure, too
};

// Lets a driver's operation on its own kind of record serve as Request::perform.
template <typename Driver, typename Record>
std::function<int(void*)> by(Driver* driver, int (Driver::*operation)(Record&)) {
  return [=](void* record) { return (driver->*operation)(*static_cast<Record*>(record)); };
}

// The requests of the devices that the settings name.
const std::vector<Request>& ionRequests();
const std::vector<Request>& ge2dRequests();

// The first of them that meets the condition, or null.
const Request* findRequest(const std::function<bool(const Request&)>& condition);

// Opens one of the two devices.
int openDevice(const std::string& path, bool closeOnExec);

// Answers a request and logs it. Descriptors that are no simulated device's know no request.
int answerRequest(int fd, std::uint32_t code, void* record);

}  // namespace sim
