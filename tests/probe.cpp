// Calls single operations in the order of the arguments and says on standard error what came of
// each, so that a table can drive them in a fresh process. Standard output is left to the operations.

#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/options.h"
#include "buffers/image.h"
#include "buffers/ion.h"
#include "buffers/ion_buffer.h"
#include "display/display_engine.h"

namespace {

// operation[=a[,b]]; a null out-parameter is asked for with the length or handle "null".
struct Call {
  explicit Call(const std::string& text) {
    const std::size_t equals = text.find('=');
    name = text.substr(0, equals);
    argument = equals == std::string::npos ? "" : text.substr(equals + 1);
    first = strtoll(argument.c_str(), nullptr, 0);
    const std::size_t comma = argument.find(',');
    second = comma == std::string::npos ? 0 : strtoll(argument.c_str() + comma + 1, nullptr, 0);
  }
  int a() const { return static_cast<int>(first); }
  int b() const { return static_cast<int>(second); }

  std::string name;
  std::string argument;
  long long first;
  long long second;
};

void say(const Call& call, int result, const std::string& more) {
  fprintf(stderr, "%s = %d%s%s\n", call.name.c_str(), result, more.empty() ? "" : " ",
          more.c_str());
}

int ionFd = -1;

void perform(const Call& call) {
  int out = -7;  // what a failed operation must leave alone
  int* const where = call.argument == "null" ? nullptr : &out;
  const auto length = static_cast<std::size_t>(call.first);
  if (call.name == "parse_nothing") {
    const char* none[] = {nullptr};
    parseArgs(0, none);
  } else if (call.name == "ion_open") {
    errno = 0;
    ionFd = ion_open();
    say(call, ionFd, std::to_string(errno));
  } else if (call.name == "ion_alloc") {
    const int result = ion_alloc(ionFd, length, 4096, 2, 0, where);
    say(call, result, std::to_string(out));
  } else if (call.name == "request") {
    std::uint32_t words[20] = {};
    std::size_t count = 0;
    for (std::size_t at = 0;
         (at = call.argument.find(',', at)) != std::string::npos && count < 20;) {
      words[count++] = static_cast<std::uint32_t>(strtoul(&call.argument[++at], nullptr, 0));
    }
    const int result = ioctl(ionFd, static_cast<unsigned long>(call.first), words);
    say(call, result < 0 ? -errno : result, "");
  } else if (call.name == "ion_share") {
    const int result = ion_share(ionFd, call.a(), where);
    say(call, result, std::to_string(out));
  } else if (call.name == "ion_alloc_fd") {
    const int result = ion_alloc_fd(ionFd, length, 64, 0x82, 5, where);
    say(call, result, std::to_string(out));
  } else if (call.name == "buffer") {
    const orvan::IonBuffer buffer(static_cast<unsigned int>(call.first),
                                  static_cast<unsigned long long>(call.second));
    const orvan::PrivateBuffer& record = *buffer.getPrivateBuffer();
    const char* const addr = record.addr == nullptr      ? "null"
                             : record.addr == MAP_FAILED ? "MAP_FAILED"
                                                         : "mapped";
    say(call, record.fd,
        std::to_string(record.size) + " " + std::to_string(record.tag) + " " + addr);
  } else if (call.name == "image") {
    Image image;
    const int result = image.initFromFile(call.argument.c_str());
    say(call, result, image.mData == nullptr ? "" : std::string(image.mData, image.mSize));
  } else if (call.name == "load") {
    say(call, Image::loadToBuffer(call.a(), static_cast<unsigned int>(call.second), "bytes"), "");
  } else if (call.name == "submit") {
    struct {
      std::uint64_t before = 0x5A5A5A5A5A5A5A5A;
      _plane_info info = {};
      std::uint64_t after = 0x5A5A5A5A5A5A5A5A;
    } guarded;
    guarded.info.channel = static_cast<std::uint32_t>(call.first);
    guarded.info.dma_buf_fd = call.b();
    guarded.info.out_value = 99;
    const int result = submitLayer(&guarded.info, &out);
    const bool intact = guarded.before == guarded.after && guarded.after == 0x5A5A5A5A5A5A5A5A;
    say(call, result,
        std::to_string(out) + " " + std::to_string(guarded.info.out_value) +
            (intact ? "" : " overrun"));
  } else if (call.name == "blank") {
    say(call, blankCtrl(call.a(), static_cast<unsigned int>(call.second)), "");
  } else if (call.name == "fastlogo") {
    say(call, fastlogoCtrl(call.a()), "");
  } else {
    fprintf(stderr, "%s?\n", call.name.c_str());
    exit(2);
  }
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    perform(Call(argv[i]));
  }
}
