#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

// An answer that one kind of request, or a mapping of a buffer, is told to give.
struct Fault {
  std::string request;
  int answer;      // a negated errno; the positive result of a request that does its work; or 0, a
                   // success that yields the descriptor -1
  unsigned first;  // the use that meets it
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

// The pieces between the separators: "a,b" has two, "" none.
std::vector<std::string> split(const std::string& text, char separator);

// Read from the environment once. A setting that makes no sense ends the process with status 2 and
// one line on standard error: a test on devices other than those asked for is worse than none.
Settings& settings();

// The fault that this use of the request meets, or null. Counts the use.
const Fault* nextFault(const std::string& request);

}  // namespace sim
