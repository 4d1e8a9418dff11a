#pragma once

// The version stands only here: CMakeLists.txt reads it from this file.
#define PLANESHOW_VERSION "0.1"
