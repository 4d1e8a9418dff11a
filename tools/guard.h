#pragma once

#include <utility>

// Does a clean-up at the end of its scope, however that is left.
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
