#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

// Says on standard error how far a piece of work is: after two seconds, and then every second.
class Progress {
 public:
  // The texts are kept by the caller; whole is in the unit of done.
  Progress(const char* program, const char* work, std::uint64_t whole)
      : mProgram(program), mWork(work), mWhole(whole) {}

  void at(std::uint64_t done) {
    const auto now = std::chrono::steady_clock::now();
    if (now >= mNext) {
      dprintf(STDERR_FILENO, "%s: %s: %d %%\n", mProgram, mWork,
              static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(mWhole)));
      mNext = now + std::chrono::seconds(1);
    }
  }

 private:
  const char* mProgram;
  const char* mWork;
  std::uint64_t mWhole;
  std::chrono::steady_clock::time_point mNext =
      std::chrono::steady_clock::now() + std::chrono::seconds(2);
};
