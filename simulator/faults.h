#pragma once

#include <string>

namespace sim {

// The answer that one kind of call or request is told to give.
struct Fault {
  std::string call;
  int result = 0;  // the negated errno that it fails with, or what it returns after its work
  bool noDescriptor = false;  // it succeeds with the descriptor -1
  unsigned first = 1;         // the first use that triggers it, from 1
  bool andFollowing = true;
  unsigned seen = 0;
};

// Reads the faults from the settings. One that can't happen ends the process like a wrong setting.
void readFaults();

// Counts this use of the call or request. Returns the fault that it triggers, or null.
const Fault* nextFault(const std::string& call);

}  // namespace sim
