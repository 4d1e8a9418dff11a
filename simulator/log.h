#pragma once

#include <string>

namespace sim {

// Makes the log's file if it isn't there. One that can't be written ends the process like a wrong
// setting.
void startLog();

// Whether anybody reads the log: without it no call does work for it.
bool logging();

// Appends a line, in one write. The first that can't be written is said on standard error.
void logLine(const std::string& line);

// " = 0", or " = -1 EINVAL" for a negated errno.
std::string resultText(int result);

}  // namespace sim
