#pragma once

#include <string>

namespace sim {

// What one kind of call or request is told to answer.
struct Fault {
  std::string call;
  int error = 0;              // the errno that it fails with, or 0
  int result = 0;             // the positive result that it returns after its work, or 0
  bool noDescriptor = false;  // it succeeds with the descriptor -1
  unsigned first = 1;         // the use that meets the fault
  bool andFollowing = true;
  unsigned seen = 0;
};

// Reads the faults from the settings. One that can't be met ends the process like a wrong setting.
void readFaults();

// The fault that this use of the call or request meets, or null. Counts the use.
const Fault* nextFault(const std::string& call);

}  // namespace sim
