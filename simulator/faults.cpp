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

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (std::size_t end = 0; end != std::string::npos; start = end + 1) {
    end = text.find(separator, start);
    pieces.push_back(text.substr(start, end - start));
  }
  return pieces;
}

// The number of an errno's name, or 0.
int errnoOf(const std::string& name) {
  int error = 199;
  while (error > 0 && (strerrorname_np(error) == nullptr || name != strerrorname_np(error))) {
    --error;
  }
  return error;
}

// Whether the tool makes such a call, or the chosen devices have such a request, and it can give
// that answer.
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
  const std::vector<std::string> pieces = split(text, ':');
  const std::string answer = pieces.size() > 1 ? pieces[1] : "";
  Fault fault;
  fault.call = pieces[0];
  fault.noDescriptor = answer == "nofd";
  fault.error = errnoOf(answer);
  if (answer[0] == 'E' && fault.error == 0) {
    reject("FAIL", text, "there is no such errno");
  }
  bool understood = fault.noDescriptor || fault.error != 0 || parseNumber(answer, fault.result);
  if (pieces.size() > 2) {
    std::string use = pieces[2];
    fault.andFollowing = !use.empty() && use.back() == '+';
    use.resize(use.size() - (fault.andFollowing ? 1 : 0));
    understood = understood && parseNumber(use, fault.first);
  }
  if (!understood || pieces.size() > 3) {
    reject("FAIL", text, "not call:answer[:n[+]]");
  }
  if (!canMeet(fault)) {
    reject("FAIL", text, "no such call or request of the chosen devices has this answer");
  }
  return fault;
}

}  // namespace

void readFaults() {
  if (!settings().fail.empty()) {
    for (const std::string& text : split(settings().fail, ',')) {
      faults().push_back(parseFault(text));
    }
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
