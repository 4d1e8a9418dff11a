#include "buffers/ion_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "buffers/ion.h"
#include "common/debug.h"
#include "common/lasting.h"
#include "common/uniquefd.h"

namespace orvan {

namespace {

// The process's descriptor on /dev/ion. If it can't be opened, it stays -1: there is no retry.
class iondev {
 public:
  iondev() {
    const int opened = ion_open();
    if (opened < 0) {
      Debug::gDebugInstance.error("%s: ion_open() failed, %s", "iondev", strerror(errno));
    }
    mFd.reset(opened);
  }

  int fd() const { return mFd.get(); }

 private:
  uniquefd mFd;
};

}  // namespace

IonBuffer::IonBuffer(unsigned int size, unsigned long long tag) : mBuffer{-1, 0, 0, nullptr} {
  initWithSize(size, tag);
}

IonBuffer::~IonBuffer() {
  if (mBuffer.fd != -1) {
    close(mBuffer.fd);
  }
  lasting(mBuffer.fd) = -1;
  lasting(mBuffer.size) = 0;
  lasting(mBuffer.tag) = 0;
}

int IonBuffer::initWithSize(unsigned int size, unsigned long long tag) {
  static const iondev device;

  constexpr std::size_t kAlignment = 4096;
  constexpr unsigned int kHeapMask = 1U << 1;
  int fd = -1;
  const int result = ion_alloc_fd(device.fd(), size, kAlignment, kHeapMask, 0, &fd);
  if (fd == -1) {
    // The spelling is wrong, but scripts may read the messages, so it stays.
    Debug::gDebugInstance.error("%s: ion alloacte faile, ret=%d", "initWithSize", result);
    return -1;
  }
  mBuffer.fd = fd;
  mBuffer.size = size;
  mBuffer.tag = tag;

  mBuffer.addr = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (mBuffer.addr == MAP_FAILED) {
    Debug::gDebugInstance.error("%s: mmap failed: %s", "initWithSize", strerror(errno));
    return -1;
  }
  return 0;
}

}  // namespace orvan
