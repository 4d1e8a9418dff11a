// Runs the cases of cases/*.txt: each a shell command in a folder and process of its own, compared
// with its whole output, its status and the log of the simulated devices.
//
//   == Name          a case
//   $ command        run by sh, with the built programs in the path, planeshow and probe on the
//                    simulated devices
//   ? 1              its status, 0 if not given
//   > line           of standard output     ! line  of standard error     @ line  of the device log
//   = name           the lines of that snippet
//   :: name          a snippet, for what follows; those of snippets.txt are for all

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Case {
  std::string name;
  std::string command;
  int status = 0;
  std::map<char, std::string> expected;  // by the mark of its lines
};

std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The file's cases, and the snippets that all files share.
std::vector<Case> readCases(const std::string& path) {
  std::vector<Case> cases;
  std::map<std::string, std::vector<std::string>> snippets;
  std::vector<std::string>* snippet = nullptr;
  std::stringstream file;
  file << contents(SOURCE_DIR "/tests/cases/snippets.txt") << contents(path);
  std::function<void(const std::string&)> take = [&](const std::string& line) {
    if (line[0] == '=') {
      if (snippets.count(line.substr(2)) == 0) {
        throw std::runtime_error(path + ": which snippet is '" + line + "'?");
      }
      for (const std::string& known : snippets[line.substr(2)]) {
        take(known);
      }
      return;
    }
    const std::string rest = line.size() > 2 ? line.substr(2) : "";
    if (line[0] == '$') {
      cases.back().command += rest + "\n";
    } else if (line[0] == '?') {
      cases.back().status = std::stoi(rest);
    } else if (std::string(">!@").find(line[0]) != std::string::npos) {
      cases.back().expected[line[0]] += rest + "\n";
    } else {
      throw std::runtime_error(path + ": what is '" + line + "'?");
    }
  };
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') {
      continue;
    }
    if (line.rfind("== ", 0) == 0) {
      cases.push_back({line.substr(3), "", 0, {}});
      snippet = nullptr;
    } else if (line.rfind(":: ", 0) == 0) {
      snippet = &snippets[line.substr(3)];
    } else if (snippet != nullptr) {
      snippet->push_back(line);
    } else {
      take(line);
    }
  }
  return cases;
}

void PrintTo(const Case& c, std::ostream* stream) { *stream << c.name; }

class Run : public testing::TestWithParam<Case> {};

TEST_P(Run, Case) {
  const Case& c = GetParam();
  std::string pattern = testing::TempDir() + "planeshow.XXXXXX";
  const std::filesystem::path folder = mkdtemp(pattern.data());
  std::filesystem::current_path(folder);
  std::ofstream("image.raw") << "123456789";

  // Only the standard descriptors are inherited: the numbers of the others stand in the reports.
  for (int fd = 3; fd < 64; ++fd) {
    close(fd);
  }
  setenv("PATH", (TOOLS ":" + std::string(getenv("PATH"))).c_str(), 1);
  for (const char* name : {"ION", "GE2D", "MEMORY", "FAIL", "STATE"}) {
    unsetenv((std::string("PLANESHOW_SIM_") + name).c_str());
  }
  setenv("SOURCE", SOURCE_DIR, 1);
  setenv("BITS", sizeof(void*) == 4 ? "32" : "64", 1);
  setenv("PLANESHOW_SIM_LOG", (folder / "log").c_str(), 1);
  std::ofstream("command") << c.command;
  const int status = std::system("sh ./command >out 2>err </dev/null");

  EXPECT_EQ(WEXITSTATUS(status), c.status);
  const auto expected = [&c](char mark) {
    const auto lines = c.expected.find(mark);
    return lines == c.expected.end() ? "" : lines->second;
  };
  EXPECT_EQ(contents("out"), expected('>'));
  EXPECT_EQ(contents("err"), expected('!'));
  if (SIMULATED) {
    EXPECT_EQ(contents("log"), expected('@'));
  }
  std::filesystem::current_path("/");
  std::filesystem::remove_all(folder);
}

std::string nameOf(const testing::TestParamInfo<Case>& info) { return info.param.name; }

#define CASES(name, file)             \
  INSTANTIATE_TEST_SUITE_P(name, Run, \
                           testing::ValuesIn(readCases(SOURCE_DIR "/tests/cases/" file)), nameOf)
CASES(CommandLine, "command_line.txt");
CASES(Display, "display.txt");
CASES(Failures, "failures.txt");
CASES(NoDevice, "no_device.txt");
CASES(Operations, "operations.txt");
CASES(Simulator, "simulator.txt");
CASES(TestCard, "test_card.txt");
CASES(Screen, "screen.txt");
CASES(Manual, "manual.txt");
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Run);

}  // namespace
