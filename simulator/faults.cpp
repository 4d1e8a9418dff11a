#include "simulator/faults.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "simulator/devices.h"
#include "simulator/settings.h"
#include "tools/companion.h"

namespace sim {

namespace {

std::vector<Fault>& faults() {
  static auto& faults = *new std::vector<Fault>;
  return faults;
}

// Takes off the text's beginning, up to the separator.
std::string cut(std::string& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  std::string piece = text.substr(0, end);
  text.erase(0, end + 1);
  return piece;
}

// The number of an errno's name, or 0.
int errnoOf(const std::string& name) {
  int error = 199;
  while (error > 0 && (strerrorname_np(error) == nullptr || name != strerrorname_np(error))) {
    --error;
  }
  return error;
}

// Whether the tool makes this call, or the chosen devices have this request, and whether that can
// give this answer.
bool canMeet(const Fault& fault) {
  const char* const calls[] = {"open", "stat", "mmap", "munmap", "dup", "close"};
  if (std::find(std::begin(calls), std::end(calls), fault.call) != std::end(calls)) {
    return fault.error != 0;
  }
  const Request* const request =
      findRequest([&](const Request& known) { return fault.call == known.name; });
  return request != nullptr && (request->descriptor > 0 || !fault.noDescriptor);
}

Fault parseFault(const std::string& text) {
  std::string use = text;
  Fault fault;
  fault.call = cut(use, ':');
  const std::string answer = cut(use, ':');
  fault.noDescriptor = answer == "nofd";
  fault.error = errnoOf(answer);
  bool right = fault.noDescriptor || fault.error != 0 || parseNumber(answer, fault.result);
  if (!use.empty()) {
    fault.andFollowing = use.back() == '+';
    use.resize(use.size() - (fault.andFollowing ? 1 : 0));
    right = right && parseNumber(use, fault.first);
  }
  if (!right || !canMeet(fault)) {
    reject("FAIL", text, "not call:answer[:n[+]] with an answer that the chosen devices can give");
  }
  return fault;
}

}  // namespace

void readFaults() {
  for (std::string rest = settings().fail; !rest.empty();) {
    faults().push_back(parseFault(cut(rest, ',')));
  }
}

const Fault* nextFault(const std::string& call) {
  const Fault* met = nullptr;
  for (Fault& fault : faults()) {
    if (fault.call == call && ++fault.seen >= fault.first &&
        (fault.seen == fault.first || fault.andFollowing) && met == nullptr) {
      met = &fault;
    }
  }
  return met;
}

}  // namespace sim
