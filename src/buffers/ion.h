#pragma once

#include <cstddef>

// Client of the kernel's ION allocator in either of its interface generations: legacy (handles that
// are shared as dma-buf descriptors) and modern (an allocation is a dma-buf descriptor). The
// generation is probed once per process. Failed requests are reported and returned as a negated
// errno, refused arguments as -22; out-parameters are written on success only. Lengths and
// alignments are bytes; heap_mask bit n lets heap n serve the request.

// Returns a new descriptor on /dev/ion, owned by the caller, or -1 with errno set.
int ion_open();

// Legacy kernels only. Stores a handle, which fd's device keeps.
int ion_alloc(int fd, std::size_t len, std::size_t align, unsigned int heap_mask,
              unsigned int flags, int* handle);

// Legacy kernels only. Stores a new dma-buf descriptor for the handle, owned by the caller.
int ion_share(int fd, int handle, int* share_fd);

// Any kernel. Stores a new dma-buf descriptor, owned by the caller. Modern kernels ignore align.
int ion_alloc_fd(int fd, std::size_t len, std::size_t align, unsigned int heap_mask,
                 unsigned int flags, int* handle_fd);
