#pragma once

#include <cstdint>
#include <string>

namespace sim {

struct Settings {
  std::string ion;       // modern, legacy, absent or forbidden
  std::string ge2d;      // present, absent or forbidden
  std::uint64_t memory;  // bytes that the allocator has
  std::string fail;      // see faults.h
  std::string log;       // path, empty for none
  std::string state;     // folder of the screen's state, empty if none is drawn
  std::int32_t width;    // of the screen, pixels
  std::int32_t height;
};

// Reads the settings from the environment and makes the state folder. A setting that makes no sense
// ends the process with status 2 and one line on standard error: a run on other devices than those
// asked for would mislead.
void readSettings();

const Settings& settings();

// Ends the process because of a wrong setting. The name is without PLANESHOW_SIM_.
[[noreturn]] void reject(const std::string& name, const std::string& value, const std::string& why);

}  // namespace sim
