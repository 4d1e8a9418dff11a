#pragma once

#include <cstdint>

// Read-only mapping of a raw image file. The file has no header, and nothing in it is interpreted.
// Files of 4 GiB and more are refused, because mSize has 32 bits.
class Image {
 public:
  Image() = default;
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  // Maps the whole file; call once. Returns 0, -22 if the file can't be found or opened or is too
  // large, or -1 if it can't be mapped. A failure is reported and leaves the object empty.
  int initFromFile(const char* path);

  // Copies size bytes from src into the memory behind fd, which stays the caller's.
  // Returns 0, or -1 after reporting that fd can't be mapped.
  static int loadToBuffer(int fd, unsigned int size, const char* src);

  std::int32_t mFd = -1;        // of the file; descriptor and mapping are owned by the object
  const char* mData = nullptr;  // start of the mapping
  std::uint32_t mSize = 0;      // bytes
};
