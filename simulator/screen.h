#pragma once

namespace sim {

// Keeps what the run showed or blanked, if anything, and draws the screen, or says why it couldn't
// and ends the process with status 1. Does nothing if there is no folder for the state. PC only.
void drawScreen();

}  // namespace sim
