#pragma once

#include <unistd.h>

#include <cstdint>

#include "common/lasting.h"

namespace orvan {

// Owns one file descriptor; -1 when empty.
class uniquefd {
 public:
  uniquefd() = default;
  ~uniquefd() { reset(-1); }
  uniquefd(const uniquefd&) = delete;
  uniquefd& operator=(const uniquefd&) = delete;

  // Closes the held descriptor and takes ownership of fd. -1, as from a failed open, means none.
  void reset(std::int32_t fd) {
    if (mFd != -1) {
      close(mFd);
    }
    lasting(mFd) = fd;
  }

  std::int32_t get() const { return mFd; }

 private:
  std::int32_t mFd = -1;
};

}  // namespace orvan
