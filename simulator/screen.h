#pragma once

namespace sim {

// Keeps what the run showed or blanked, if anything, and draws the screen. If it can't, it says why
// and ends the process with status 1. Does nothing without a folder for the state. PC only.
void drawScreen();

}  // namespace sim
