// Lets 32-bit builds open files of 2 GiB and more.
#if __SIZEOF_LONG__ == 4
#define _FILE_OFFSET_BITS 64
#endif

#include "buffers/image.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "common/debug.h"

Image::~Image() {
  if (mFd >= 0) {
    close(mFd);
  }
  if (mData != nullptr) {
    munmap(const_cast<char*>(mData), mSize);
  }
}

int Image::initFromFile(const char* path) {
  const auto reportOpen = [path](int error) {
    Debug::gDebugInstance.error("%s: Could not open '%s', %s(%d)", "initFromFile", path,
                                strerror(error), error);
    return -EINVAL;
  };

  struct stat status = {};
  if (stat(path, &status) != 0) {
    Debug::gDebugInstance.error("%s: Image: can not find the image file: %s", "initFromFile", path);
    return -EINVAL;
  }
  if (status.st_size > std::numeric_limits<std::uint32_t>::max()) {
    return reportOpen(EFBIG);
  }
  const auto length = static_cast<std::uint32_t>(status.st_size);

  const int fd = open(path, O_RDONLY, 0);
  if (fd == -1) {
    return reportOpen(errno);
  }
  void* const data = mmap(nullptr, length, PROT_READ, MAP_SHARED, fd, 0);
  if (data == MAP_FAILED) {
    Debug::gDebugInstance.error("%s: mmap failed: %s", "initFromFile", strerror(errno));
    close(fd);
    return -1;
  }

  mFd = fd;
  mData = static_cast<const char*>(data);
  mSize = length;
  return 0;
}

int Image::loadToBuffer(int fd, unsigned int size, const char* src) {
  void* const target = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (target == MAP_FAILED) {
    Debug::gDebugInstance.error("%s: mmap failed: %s", "loadToBuffer", strerror(errno));
    return -1;
  }
  memcpy(target, src, size);
  munmap(target, size);  // a failure doesn't matter: the bytes are in the buffer
  return 0;
}
