#pragma once

// The version, for whoever builds or packs the tool.
#define PLANESHOW_VERSION "0.1"
