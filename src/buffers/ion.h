#pragma once

#include <cstddef>

// Client of both interfaces of the kernel's ION allocator. The legacy one allocates handles, which
// are then shared as dma-buf descriptors; the modern one allocates a dma-buf descriptor. Which one
// the kernel has is probed once per process. A failed request is reported and returns a negated
// errno; a refused argument returns -22. Out-parameters are written only on success. Lengths and
// alignments are in bytes. Bit n of heap_mask lets heap n serve the request.

// Returns a new descriptor on /dev/ion, owned by the caller, or -1 with errno set.
int ion_open();

// Legacy kernels only. Stores a handle, which is valid only on fd.
int ion_alloc(int fd, std::size_t len, std::size_t align, unsigned int heap_mask,
              unsigned int flags, int* handle);

// Legacy kernels only. Stores a new dma-buf descriptor for the handle, owned by the caller.
int ion_share(int fd, int handle, int* share_fd);

// Any kernel. Stores a new dma-buf descriptor, owned by the caller. Modern kernels ignore align.
int ion_alloc_fd(int fd, std::size_t len, std::size_t align, unsigned int heap_mask,
                 unsigned int flags, int* handle_fd);
