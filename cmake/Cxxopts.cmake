# Finds the option parser's header and refuses every other series: rules, exception names and the
# help's layout differ between them.
set(PLANESHOW_CXXOPTS_DIR "${CMAKE_SOURCE_DIR}/build/deps/cxxopts/usr/include" CACHE PATH
    "Folder that holds cxxopts.hpp of the 2.2 series")

set(header "${PLANESHOW_CXXOPTS_DIR}/cxxopts.hpp")
if(NOT EXISTS "${header}")
  message(FATAL_ERROR "There is no ${header}: run scripts/setup.sh, or name the folder of a cxxopts 2.2 "
                      "header with -DPLANESHOW_CXXOPTS_DIR=...")
endif()

file(STRINGS "${header}" lines REGEX "^#define CXXOPTS__VERSION_M")
list(JOIN lines "\n" lines)
string(REGEX REPLACE ".*MAJOR ([0-9]+).*MINOR ([0-9]+).*" "\\1.\\2" series "${lines}")
if(NOT series STREQUAL "2.2")
  message(FATAL_ERROR "${header} is cxxopts ${series}, but planeshow needs the 2.2 series: run "
                      "scripts/setup.sh to get it.")
endif()
