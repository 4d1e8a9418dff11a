#pragma once

#include <fcntl.h>
#include <unistd.h>

// Opens /dev/null in place of a closed standard input, output or error. Otherwise the next open
// would get that number, and messages would be written into an image, a buffer or a device.
inline void fillStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) == -1) {
      open("/dev/null", O_RDWR);
    }
  }
}
