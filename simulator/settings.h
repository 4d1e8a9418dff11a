#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

// What one kind of request is told to answer.
struct Fault {
  std::string request;
  int error;          // the errno that it fails with, or 0
  int result;         // the positive result that it returns after its work, or 0
  bool noDescriptor;  // it succeeds with the descriptor -1
  unsigned first;     // the use that meets the fault
  bool andFollowing;
  unsigned seen = 0;
};

struct Settings {
  std::string ion;                    // modern, legacy, absent or forbidden
  std::string ge2d;                   // present, absent or forbidden
  std::uint64_t memory = UINT64_MAX;  // bytes that the allocator has
  std::vector<Fault> faults;
  std::string log;    // path, empty for none
  std::string state;  // folder, empty for none
};

// Read from the environment once. A setting that makes no sense, or can't take effect, ends the
// process with status 2 and one line on standard error: a test on devices other than those asked
// for is worse than none.
Settings& settings();

// The fault that this use of the request meets, or null. Counts the use.
const Fault* nextFault(const std::string& request);

}  // namespace sim
