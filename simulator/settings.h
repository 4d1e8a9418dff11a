#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

enum class Node { Present, Absent, Forbidden };

// What one kind of request is told to answer instead of, or besides, doing its work.
struct Fault {
  enum class Kind { Errno, Result, NoDescriptor };
  std::string request;
  Kind kind;
  int value;  // the errno, or the positive result of a request that did its work
  unsigned first = 1;
  bool andFollowing = true;
  unsigned seen = 0;
};

struct Settings {
  Node ion = Node::Present;
  bool legacy = false;
  Node ge2d = Node::Present;
  std::uint64_t memory = UINT64_MAX;  // bytes, in whole pages
  std::vector<Fault> faults;
  std::string log;  // path, empty for none
};

// Read from the environment once. A setting that makes no sense ends the process with status 2 and
// one line on standard error: a test on devices other than those asked for is worse than none.
Settings& settings();

[[noreturn, gnu::format(printf, 1, 2)]] void fail(const char* format, ...);

// The fault that this use of the request meets, or null. Counts the use.
const Fault* nextFault(const char* request);

}  // namespace sim
