#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "settings.h"

// What the simulated drivers share. Results are the kernel's: 0 or more, or a negated errno.
namespace sim {

// A simulated descriptor is a memory file, and its name says what it stands for: "/dev/ion",
// "/dev/ge2d" or "buffer 1 of 9 bytes". So the kernel keeps the table, duplicates included.
constexpr const char* kIon = "/dev/ion";
constexpr const char* kGe2d = "/dev/ge2d";
// The name of any other descriptor is empty.
std::string nameOf(int fd);
// The bytes that a buffer's name tells, 0 for any other name.
std::uint64_t bufferLength(const std::string& name);
constexpr std::uint64_t wholePages(std::uint64_t bytes) { return (bytes + 4095) / 4096 * 4096; }
// Returns a new descriptor; its memory is backed at once, as an allocator's is.
int makeFile(const std::string& name, std::uint64_t backed, bool closeOnExec);
// Closes a descriptor that the tool never had: it stays out of the log.
void closeOwn(int fd);

// Does what needs a descriptor for a moment. If the tool has used all that it may have, a child
// does it, whose table is its own: a driver needs none of the tool's descriptors.
template <typename Work>
int withDescriptors(const Work& work) {
  const int result = work();
  if (result != -EMFILE) {
    return result;
  }
  const pid_t child = fork();
  if (child == 0) {
    closeOwn(STDIN_FILENO);
    _exit(-work());
  }
  int status = -1;
  while (child > 0 && waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return child > 0 && WIFEXITED(status) ? -WEXITSTATUS(status) : -EMFILE;
}

// Writes all of the bytes, or returns why not.
int writeAll(int fd, const void* bytes, std::size_t size);
// Says what went wrong with a file of the user's.
void complain(const std::string& path, int error);

// Whether anybody reads the log: without it no call does work for it.
bool logging();
int appendToLog(const std::string& text, int openFlags);
// Appends a line. The first that can't be written is said on standard error.
void logLine(const std::string& line);
// " = 0", or " = -1 EINVAL" for a negated errno.
std::string resultText(int result);

// A request of a driver. It gets its own copy of the record, a list of 32-bit words, and the
// descriptor that it came through; a failed one leaves the record alone, unless a real one doesn't.
struct Request {
  const char* device;
  const char* setting;  // which the device must have to know the request
  std::uint32_t code;
  const char* name;
  std::size_t size;    // of the record, bytes
  const char* fields;  // "+" marks an unsigned word and "++" an unsigned pair
  int (*perform)(int fd, std::int32_t* words);
  int descriptor = 0;              // the word that gets a new descriptor, if any
  bool errorInDescriptor = false;  // it gets the negated errno of a failure, too
};
const std::vector<Request>& ionRequests();
const std::vector<Request>& ge2dRequests();

// The first request that meets the condition among those that the chosen devices have, or null.
template <typename Condition>
const Request* findRequest(const Settings& chosen, const Condition& condition) {
  for (const auto* const requests : {&ionRequests(), &ge2dRequests()}) {
    for (const Request& known : *requests) {
      if ((known.setting == chosen.ion || known.setting == chosen.ge2d) && condition(known)) {
        return &known;
      }
    }
  }
  return nullptr;
}

// True if result is the answer: the devices answer for their own descriptors, and with EBADF for
// those that aren't open, because an emulator may not. From any thread.
bool answerRequest(int fd, unsigned long code, void* record, int& result);

}  // namespace sim
