#pragma once

#include <string>

namespace sim {

// Makes the log's file if it doesn't exist. If it can't be written, the process ends as with a
// wrong setting. If it is also the output's file, lets the output append to it.
void startLog();

// Whether there is a log. Callers compute nothing expensive for a log that isn't there.
bool logging();

// Appends a line in one write. The first line that can't be written is reported on standard error.
void logLine(const std::string& line);

// " = 0", or " = -1 EINVAL" for a negated errno.
std::string resultText(int result);

}  // namespace sim
