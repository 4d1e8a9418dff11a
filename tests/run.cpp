#include "run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

std::string contents(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The program's command line, with the simulated devices preloaded into it and into nothing else.
std::vector<std::string> commandLine(const Case& c) {
  const std::string preload = "LD_PRELOAD=" BUILD_DIR "/libplaneshow-sim.so";
  std::vector<std::string> command;
  std::istringstream emulator(EMULATOR);
  for (std::string word; std::getline(emulator, word, ';');) {
    command.push_back(word);
  }
  command.push_back(command.empty() ? "env" : "-E");
  command.push_back(preload);
  const bool probe = !c.args.empty() && c.args[0] == "@probe";
  command.push_back(probe ? BUILD_DIR "/tests/probe" : BUILD_DIR "/planeshow");
  command.insert(command.end(), c.args.begin() + (probe ? 1 : 0), c.args.end());
  return command;
}

[[noreturn]] void execute(const Case& c, std::vector<std::string> command) {
  for (int fd = 3; fd < 64; ++fd) {
    close(fd);  // the numbers of the program's descriptors stand in the reports
  }
  close(STDOUT_FILENO);
  open(c.stdoutPath, O_WRONLY | O_CREAT, 0600);
  close(STDERR_FILENO);
  open("err", O_WRONLY | O_CREAT, 0600);
  setenv("PLANESHOW_SIM_LOG", "calls", 1);
  setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
  for (const std::string& setting : c.settings) {
    putenv(strdup(setting.c_str()));
  }
  std::vector<char*> argv;
  for (std::string& word : command) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);
  execvp(argv[0], argv.data());
  _exit(127);
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Case& c) { return stream << c.name; }

void check(const Case& c) {
  const auto folder =
      std::filesystem::path(testing::TempDir()) / ("planeshow." + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  std::filesystem::current_path(folder);
  std::ofstream("image.raw") << "123456789";

  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    execute(c, commandLine(c));
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), c.status);
  EXPECT_EQ(contents("out"), c.out);
  EXPECT_EQ(contents("err"), c.err);
  EXPECT_EQ(contents("calls"), c.calls);

  std::filesystem::current_path("/");
  std::filesystem::remove_all(folder);
}
