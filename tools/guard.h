#pragma once

#include <utility>

// Runs a clean-up at the end of its scope, even when an exception ends it.
template <typename CleanUp>
class Guard {
 public:
  explicit Guard(CleanUp cleanUp) : mCleanUp(std::move(cleanUp)) {}
  ~Guard() { mCleanUp(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  CleanUp mCleanUp;
};
