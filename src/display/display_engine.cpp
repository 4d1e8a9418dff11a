#include "display/display_engine.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>

#include "common/debug.h"
#include "common/uniquefd.h"

namespace {

struct _plane_present {
  std::uint32_t channel;
  std::uint32_t enable;  // 1 shows the channel's layer, 0 hides it
};
static_assert(sizeof(_plane_present) == 8 && offsetof(_plane_present, channel) == 0 &&
              offsetof(_plane_present, enable) == 4);

// Numbers like a framebuffer's, without the direction and size that _IOW would add.
constexpr unsigned int FBIOPUT_PLANEINFO = 'F' << 8 | 0x31;
constexpr unsigned int FBIOPRESENT_PLANE = 'F' << 8 | 0x32;
constexpr unsigned int FBIO_SET_FASTLOGOMODE = 'F' << 8 | 0x35;
static_assert(FBIOPUT_PLANEINFO == 0x4631 && FBIOPRESENT_PLANE == 0x4632 &&
              FBIO_SET_FASTLOGOMODE == 0x4635);

// The process's descriptor on /dev/ge2d. If it can't be opened, it stays -1: there is no retry.
class svpdev {
 public:
  svpdev() {
    const int opened = open("/dev/ge2d", O_RDWR);
    if (opened < 0) {
      Debug::gDebugInstance.error("%s: Open '/dev/ge2d' failed, %s", "svpdev", strerror(errno));
    }
    mFd.reset(opened);
  }

  int fd() const { return mFd.get(); }

 private:
  orvan::uniquefd mFd;
};

// The only place that issues a request. The names are for the message of a failure.
int request(const char* operation, const char* requestName, unsigned int number, void* record) {
  static const svpdev device;
  if (ioctl(device.fd(), number, record) != 0) {
    Debug::gDebugInstance.error("%s: ioctl %s error", operation, requestName);
    return -1;
  }
  return 0;
}

}  // namespace

int submitLayer(_plane_info* info, int* out) {
  if (info->channel >= 2) {
    Debug::gDebugInstance.error("%s: osd id error!", "submitLayer");
    return -1;
  }
  info->out_value = -1;
  *out = -1;
  if (request("submitLayer", "FBIOPUT_PLANEINFO", FBIOPUT_PLANEINFO, info) != 0) {
    return -1;
  }
  *out = info->out_value;
  info->out_value = -1;
  return 0;
}

int blankCtrl(int blank, unsigned int channel) {
  _plane_present present = {channel, blank == 0 ? 1U : 0U};
  return request("blankCtrl", "FBIOPRESENT_PLANE", FBIOPRESENT_PLANE, &present);
}

int fastlogoCtrl(int mode) {
  std::int32_t value = mode;
  return request("fastlogoCtrl", "FBIO_SET_FASTLOGOMODE", FBIO_SET_FASTLOGOMODE, &value);
}
