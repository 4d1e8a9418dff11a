// The least that a run of planeshow can cost: the same system calls on the image and the devices,
// with the same arguments and in the same order, and the copy. It has no option parser and prints
// no text. It knows only the modern allocator.
//
//   yardstick -i FILE -w WIDTH -h HEIGHT    shows the image on channel 1; the order is fixed
//   yardstick --blank                       blanks channel 1
//
// Ends with status 1 at the first call that fails: a run that didn't do the work must not be timed.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "display/display_engine.h"

namespace {

constexpr unsigned long kIonProbe = 0xC0044901;
constexpr unsigned long kIonAlloc = 0xC0184900;
constexpr unsigned long kPutPlane = 0x4631;
constexpr unsigned long kPresentPlane = 0x4632;
constexpr unsigned long kSetFastlogo = 0x4635;

struct IonAlloc {
  std::uint64_t length;
  std::uint32_t heaps;
  std::uint32_t flags;
  std::int32_t fd;
  std::uint32_t reserved;
};

int need(int result) {
  if (result < 0) {
    _exit(1);
  }
  return result;
}

void blank() {
  const int ge2d = need(open("/dev/ge2d", O_RDWR));
  std::uint32_t present[] = {1, 0};
  need(ioctl(ge2d, kPresentPlane, present));
  close(ge2d);
}

void show(const char* path, std::int32_t width, std::int32_t height) {
  struct stat status = {};
  need(stat(path, &status));
  const auto length = static_cast<std::uint32_t>(status.st_size);
  const int file = need(open(path, O_RDONLY, 0));
  void* const image = mmap(nullptr, length, PROT_READ, MAP_SHARED, file, 0);
  need(image == MAP_FAILED ? -1 : 0);

  const int ion = need(open("/dev/ion", O_RDONLY | O_CLOEXEC));
  std::int32_t noHandle = 0;
  ioctl(ion, kIonProbe, &noHandle);  // a modern allocator refuses it
  IonAlloc buffer = {length, 1U << 1, 0, 0, 0};
  need(ioctl(ion, kIonAlloc, &buffer));
  void* const kept = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, buffer.fd, 0);
  need(kept == MAP_FAILED ? -1 : 0);

  void* const target = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, buffer.fd, 0);
  need(target == MAP_FAILED ? -1 : 0);
  memcpy(target, image, length);
  munmap(target, length);
  close(file);
  munmap(image, length);

  const int ge2d = need(open("/dev/ge2d", O_RDWR));
  std::int32_t fastlogo = 0;
  need(ioctl(ge2d, kSetFastlogo, &fastlogo));

  _plane_info layer = {};
  layer.channel = 1;
  layer.param_b = 1;
  layer.param_c = 2;
  layer.param_d = 255;
  layer.window_w = 1920;
  layer.window_h = 1080;
  layer.buf_width = width;
  layer.buf_height = height;
  layer.crop_w = width;
  layer.crop_h = height;
  layer.dma_buf_fd = need(dup(buffer.fd));
  layer.out_value = -1;
  need(ioctl(ge2d, kPutPlane, &layer));

  close(buffer.fd);
  close(ge2d);
  close(ion);
}

}  // namespace

int main(int argc, char** argv) {
  argc == 7 ? show(argv[2], std::stoi(argv[4]), std::stoi(argv[6])) : blank();
}
