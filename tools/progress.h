#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

// Says on standard error how far a piece of work is: after two seconds, and then every second.
struct Progress {
  const char* program;
  const char* work;
  std::uint64_t whole;  // in the unit of done
  std::chrono::steady_clock::time_point next =
      std::chrono::steady_clock::now() + std::chrono::seconds(2);

  void at(std::uint64_t done) {
    const auto now = std::chrono::steady_clock::now();
    if (now >= next) {
      dprintf(STDERR_FILENO, "%s: %s: %d %%\n", program, work,
              static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(whole)));
      next = now + std::chrono::seconds(1);
    }
  }
};
