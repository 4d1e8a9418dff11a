#include "simulator/faults.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <vector>

#include "simulator/devices.h"
#include "simulator/settings.h"
#include "tools/companion.h"

namespace sim {

namespace {

std::vector<Fault> faults;

// The number of an errno's name, or 0. No errno is above 199.
int errnoOf(const std::string& name) {
  int error = 199;
  while (error > 0 && (strerrorname_np(error) == nullptr || name != strerrorname_np(error))) {
    --error;
  }
  return error;
}

// Whether the tool makes this call, or the chosen devices have this request, and whether that can
// give this answer.
bool canHappen(const Fault& fault) {
  const char* const calls[] = {"open", "stat", "mmap", "munmap", "dup", "close"};
  if (std::find(std::begin(calls), std::end(calls), fault.call) != std::end(calls)) {
    return fault.result < 0;
  }
  const std::vector<Request> known = requests();
  return std::any_of(known.begin(), known.end(), [&](const Request& request) {
    return fault.call == request.name && (request.descriptor > 0 || !fault.noDescriptor);
  });
}

Fault parseFault(const std::string& text) {
  std::istringstream pieces(text);
  std::string answer;
  std::string use;
  Fault fault;
  std::getline(pieces, fault.call, ':');
  std::getline(pieces, answer, ':');
  std::getline(pieces, use);
  fault.noDescriptor = answer == "nofd";
  fault.result = -errnoOf(answer);
  bool right = fault.noDescriptor || fault.result != 0 || parseNumber(answer, fault.result);
  if (!use.empty()) {
    fault.andFollowing = use.back() == '+';
    use.resize(use.size() - (fault.andFollowing ? 1 : 0));
    right = right && parseNumber(use, fault.first);
  }
  if (!right || !canHappen(fault)) {
    reject("FAIL", text, "not call:answer[:n[+]] with an answer that the chosen devices can give");
  }
  return fault;
}

}  // namespace

void readFaults() {
  std::istringstream list(settings().fail);
  for (std::string fault; std::getline(list, fault, ',');) {
    faults.push_back(parseFault(fault));
  }
}

const Fault* nextFault(const std::string& call) {
  const Fault* triggered = nullptr;
  for (Fault& fault : faults) {
    if (fault.call == call && ++fault.seen >= fault.first &&
        (fault.seen == fault.first || fault.andFollowing)) {
      triggered = &fault;
    }
  }
  return triggered;
}

}  // namespace sim
