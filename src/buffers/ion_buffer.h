#pragma once

#include <cstdint>

namespace orvan {

struct PrivateBuffer {
  std::int32_t fd;     // dma-buf descriptor, owned by the buffer; -1 when not allocated
  std::uint32_t size;  // bytes, as requested
  std::uint64_t tag;   // the creator's value, never interpreted
  void* addr;          // shared read-write mapping; MAP_FAILED if it could not be made
};

// One block of memory from ION heap 1, shared as a dma-buf. The ION device is opened by the first
// buffer of the process and closed at exit.
class IonBuffer {
 public:
  // Allocates and maps. A failure is reported; test getPrivateBuffer()->fd for -1.
  IonBuffer(unsigned int size, unsigned long long tag);
  // Closes the descriptor. Duplicates of it, and the mapping, stay until the process ends.
  ~IonBuffer();
  IonBuffer(const IonBuffer&) = delete;
  IonBuffer& operator=(const IonBuffer&) = delete;

  // Called by the constructor. Returns 0, or -1 if there is no memory (the record stays as it was)
  // or it can't be mapped (the descriptor is kept).
  int initWithSize(unsigned int size, unsigned long long tag);

  // The buffer owns the record.
  const PrivateBuffer* getPrivateBuffer() const { return &mBuffer; }

 private:
  PrivateBuffer mBuffer;
};

}  // namespace orvan
