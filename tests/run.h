#pragma once

#include <iosfwd>
#include <string>
#include <vector>

// One run of a built program on the simulated devices, in a folder of its own that holds
// "image.raw" with the nine bytes 123456789.
struct Case {
  const char* name;
  std::vector<std::string> args;      // the first one may be "@probe" for the probe program
  std::vector<std::string> settings;  // NAME=value, added to the environment
  std::string out;                    // whole standard output
  std::string calls;                  // whole log of the devices, in order
  int status = 0;
  std::string err = "";  // whole standard error
  const char* stdoutPath = "out";
};

std::ostream& operator<<(std::ostream& stream, const Case& c);

// Runs the case and compares everything.
void check(const Case& c);
