// Calls single operations in the order of the arguments and says on standard error what came of
// each, so that a table can drive them in a fresh process. Standard output is left to the
// operations.

#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "app/options.h"
#include "buffers/image.h"
#include "buffers/ion.h"
#include "buffers/ion_buffer.h"
#include "display/display_engine.h"

namespace {

std::string text;                // the operation's argument: a[,b ...]
std::vector<long long> numbers;  // the numbers in it
int ionFd = -1;
int out = 0;  // starts as -7 in each operation: what a failed one must leave alone

int a() { return static_cast<int>(numbers[0]); }
int b() { return static_cast<int>(numbers[1]); }
unsigned int unsignedA() { return static_cast<unsigned int>(numbers[0]); }
int* where() { return text == "null" ? nullptr : &out; }

std::string words(const orvan::PrivateBuffer& record) {
  const char* const addr = record.addr == nullptr      ? "null"
                           : record.addr == MAP_FAILED ? "MAP_FAILED"
                                                       : "mapped";
  return std::to_string(record.fd) + " " + std::to_string(record.size) + " " +
         std::to_string(record.tag) + " " + addr;
}

std::string withOut(int result) { return std::to_string(result) + " out " + std::to_string(out); }

// Framed by guards, because the driver writes into it.
std::string submit() {
  struct {
    std::uint64_t before = 0x5A5A5A5A5A5A5A5A;
    _plane_info info = {};
    std::uint64_t after = 0x5A5A5A5A5A5A5A5A;
  } guarded;
  guarded.info.channel = unsignedA();
  guarded.info.dma_buf_fd = b();
  guarded.info.out_value = 99;
  const int result = submitLayer(&guarded.info, &out);
  const bool intact = guarded.before == guarded.after && guarded.after == 0x5A5A5A5A5A5A5A5A;
  return withOut(result) + " " + std::to_string(guarded.info.out_value) +
         (intact ? "" : " overrun");
}

// A number and the words of its record, as planeshow would never send them.
std::string request() {
  std::array<std::uint32_t, 20> record = {};
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    record[i - 1] = static_cast<std::uint32_t>(numbers[i]);
  }
  const int result = ioctl(ionFd, static_cast<unsigned long>(numbers[0]), record.data());
  std::string said = std::to_string(result < 0 ? -errno : result);
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    said += " " + std::to_string(static_cast<std::int32_t>(record[i - 1]));
  }
  return said;
}

std::string mapping() {
  const bool isPrivate = numbers.size() > 3;
  void* const at = mmap(nullptr, static_cast<std::size_t>(numbers[1]), PROT_READ | PROT_WRITE,
                        isPrivate ? MAP_PRIVATE : MAP_SHARED, a(), static_cast<off_t>(numbers[2]));
  return at == MAP_FAILED ? strerror(errno) : "mapped";
}

// What a debugger or an exit handler finds where a buffer was.
std::string destroyed() {
  alignas(orvan::IonBuffer) static unsigned char memory[sizeof(orvan::IonBuffer)];
  (new (memory) orvan::IonBuffer(9, 7))->~IonBuffer();
  orvan::PrivateBuffer record = {};
  memcpy(&record, memory, sizeof record);
  return words(record);
}

std::string eightThreads() {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] {
      for (int turn = 0, fd = -1; turn < 200 && ion_alloc_fd(ionFd, 9, 4096, 2, 0, &fd) == 0;
           ++turn) {
        close(fd);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return "joined";
}

const std::map<std::string, std::function<std::string()>> kOperations = {
    {"parse_nothing",
     [] {
       const char* none[] = {nullptr};
       parseArgs(0, none);
       return "parsed";
     }},
    {"ion_open",
     [] {
       errno = 0;
       ionFd = ion_open();
       return std::to_string(ionFd) + " errno " + std::to_string(errno);
     }},
    {"ion_alloc",
     [] {
       const auto length = static_cast<std::size_t>(numbers[0]);
       return withOut(ion_alloc(ionFd, length, 4096, 2, 0, where()));
     }},
    {"ion_share", [] { return withOut(ion_share(ionFd, a(), where())); }},
    {"ion_alloc_fd",
     [] { return withOut(ion_alloc_fd(ionFd, unsignedA(), 64, 0x82, 5, where())); }},
    {"request", request},
    {"map", mapping},
    {"buffer",
     [] {
       return words(*orvan::IonBuffer(unsignedA(), static_cast<unsigned long long>(numbers[1]))
                         .getPrivateBuffer());
     }},
    {"initWithSize",
     [] { return std::to_string(orvan::IonBuffer(9, 7).initWithSize(unsignedA(), 8)); }},
    {"destroyed", destroyed},
    {"image",
     [] {
       Image image;
       const int result = image.initFromFile(text.c_str());
       const std::string bytes(image.mData == nullptr ? "" : image.mData, image.mSize);
       return std::to_string(result) + (bytes.empty() ? "" : " ") + bytes;
     }},
    {"load",
     [] {
       return std::to_string(Image::loadToBuffer(a(), static_cast<unsigned int>(b()), "bytes"));
     }},
    {"submit", submit},
    {"blank", [] { return std::to_string(blankCtrl(a(), static_cast<unsigned int>(b()))); }},
    {"fastlogo", [] { return std::to_string(fastlogoCtrl(a())); }},
    {"blank_at_exit", [] { return std::to_string(std::atexit([] { blankCtrl(1, 0); })); }},
    {"eight_threads", eightThreads},
};

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string call = argv[i];
    const std::size_t equals = std::min(call.find('='), call.size());
    text = call.substr(std::min(equals + 1, call.size()));
    numbers.clear();
    for (std::size_t at = 0; at <= text.size();
         at = std::min(text.find(',', at), text.size()) + 1) {
      numbers.push_back(strtoll(text.c_str() + at, nullptr, 0));
    }
    out = -7;
    const std::string said = kOperations.at(call.substr(0, equals))();
    fprintf(stderr, "%s = %s\n", call.substr(0, equals).c_str(), said.c_str());
  }
}
