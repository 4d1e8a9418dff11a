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
  const std::vector<std::string> pieces = split(text, ':');
  Fault fault;
  bool right = pieces.size() == 2 || pieces.size() == 3;
  if (right) {
    fault.call = pieces[0];
    fault.noDescriptor = pieces[1] == "nofd";
    fault.error = errnoOf(pieces[1]);
    right = fault.noDescriptor || fault.error != 0 || parseNumber(pieces[1], fault.result);
  }
  if (right && pieces.size() == 3) {
    std::string use = pieces[2];
    fault.andFollowing = !use.empty() && use.back() == '+';
    use.resize(use.size() - (fault.andFollowing ? 1 : 0));
    right = parseNumber(use, fault.first);
  }
  if (!right || !canMeet(fault)) {
    reject("FAIL", text, "not call:answer[:n[+]] with an answer that the chosen devices can give");
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
