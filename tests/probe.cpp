// Calls the operations that its arguments name, in their order, so that a table can drive them in a
// fresh process. The results go to standard error, what the operations print to standard output.

#include <sys/mman.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <new>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "app/options.h"
#include "buffers/image.h"
#include "buffers/ion.h"
#include "buffers/ion_buffer.h"
#include "display/display_engine.h"

namespace {

// operation[=number,...], or operation=text. Missing numbers are 0.
struct Call {
  explicit Call(const std::string& call)
      : name(call.substr(0, call.find('='))), text(call.substr(call.find('=') + 1)) {
    std::istringstream pieces(text);
    for (std::string piece; std::getline(pieces, piece, ',');) {
      numbers.push_back(strtoll(piece.c_str(), nullptr, 0));
    }
    numbers.resize(2);
  }
  int a() const { return static_cast<int>(numbers[0]); }
  unsigned b() const { return static_cast<unsigned>(numbers[1]); }
  std::size_t length() const { return static_cast<std::size_t>(numbers[0]); }

  std::string name, text;
  std::vector<std::int64_t> numbers;
};

// What is printed after the result.
std::ostringstream details;  // NOLINT(cert-err58-cpp): without memory there is nothing to test

// An out-parameter, or a null pointer if the text is "null".
// NOLINTNEXTLINE(cppcoreguidelines-special-member-functions): lives for one call
struct Out {
  explicit Out(const Call& call) : where(call.text == "null" ? nullptr : &value) {}
  ~Out() { details << ' ' << value; }
  int value = -7;  // a failed operation must not change it
  int* where;
};

int ionFd = -1;
int openIon(const Call& /*call*/) {
  errno = 0;
  ionFd = ion_open();
  details << ' ' << errno;
  return ionFd;
}

std::ostream& operator<<(std::ostream& stream, const orvan::PrivateBuffer& record) {
  const char* const mapped = record.addr == MAP_FAILED ? "MAP_FAILED"
                             : record.addr != nullptr  ? "mapped"
                                                       : "null";
  return stream << ' ' << record.fd << ' ' << record.size << ' ' << record.tag << ' ' << mapped;
}

// Makes a buffer, and then lets it allocate once more.
int buffer(const Call& call) {
  alignas(orvan::IonBuffer) unsigned char place[sizeof(orvan::IonBuffer)] = {};
  auto* const made = new (place) orvan::IonBuffer(call.b(), call.length());
  details << *made->getPrivateBuffer() << ", then";
  const int result = made->initWithSize(call.b(), call.length() + 1);
  details << *made->getPrivateBuffer() << ", then";
  made->~IonBuffer();
  orvan::PrivateBuffer left = {};  // read from where the buffer was
  memcpy(&left, place, sizeof left);
  details << left;
  return result;
}

int image(const Call& call) {
  Image image;
  const int result = image.initFromFile(call.text.c_str());
  details << ' ' << image.mFd << " '" << std::string_view(image.mData, image.mSize) << "'";
  return result;
}

int submit(const Call& call) {
  _plane_info info = {};
  info.dma_buf_fd = call.a();
  info.channel = call.b();
  info.out_value = 99;
  const int result = submitLayer(&info, Out(call).where);
  details << ' ' << info.out_value;
  return result;
}

int atExit(const Call& call);

// NOLINTNEXTLINE(cert-err58-cpp): as above
const std::map<std::string, int (*)(const Call&)> operations = {
    {"alloc", [](const Call& c) { return ion_alloc(ionFd, c.length(), 4096, 2, 0, Out(c).where); }},
    {"alloc_fd",
     [](const Call& c) { return ion_alloc_fd(ionFd, c.length(), 64, 130, 5, Out(c).where); }},
    {"at_exit", atExit},
    {"blank", [](const Call& c) { return blankCtrl(c.a(), c.b()); }},
    {"buffer", buffer},
    {"fastlogo", [](const Call& c) { return fastlogoCtrl(c.a()); }},
    {"image", image},
    {"open", openIon},
    {"parse_nothing", [](const Call&) { return parseArgs(0, nullptr).target; }},
    {"share", [](const Call& c) { return ion_share(ionFd, c.a(), Out(c).where); }},
    {"submit", submit},
};

void perform(const Call& call) {
  details.str("");
  const int result = operations.at(call.name)(call);
  std::cerr << call.name + " = " + std::to_string(result) + details.str() + '\n';
}

int atExit(const Call& call) {
  static const Call& later = *new Call(call.text);
  return std::atexit([] { perform(later); });
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // as in a run: each line is written at once
  for (int i = 1; i < argc; ++i) {
    perform(Call(argv[i]));
  }
}
