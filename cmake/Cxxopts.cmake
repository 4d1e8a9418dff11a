# Finds the option parser's header and refuses every other series: rules, exception names and the
# help's layout differ between them.
set(PLANESHOW_CXXOPTS_DIR "${CMAKE_SOURCE_DIR}/build/deps/cxxopts/usr/include" CACHE PATH
    "Folder that holds cxxopts.hpp of the 2.2 series")

find_path(CXXOPTS_INCLUDE_DIR cxxopts.hpp PATHS "${PLANESHOW_CXXOPTS_DIR}"
          NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH NO_CACHE)
if(NOT CXXOPTS_INCLUDE_DIR)
  message(FATAL_ERROR "No cxxopts.hpp in ${PLANESHOW_CXXOPTS_DIR}: run scripts/setup.sh, or name its "
                      "folder with -DPLANESHOW_CXXOPTS_DIR=...")
endif()

file(STRINGS "${CXXOPTS_INCLUDE_DIR}/cxxopts.hpp" lines REGEX "^#define CXXOPTS__VERSION_M")
list(JOIN lines "\n" lines)
string(REGEX REPLACE ".*MAJOR ([0-9]+).*MINOR ([0-9]+).*" "\\1.\\2" CXXOPTS_SERIES "${lines}")
if(NOT CXXOPTS_SERIES STREQUAL "2.2")
  message(FATAL_ERROR "${CXXOPTS_INCLUDE_DIR}/cxxopts.hpp is cxxopts ${CXXOPTS_SERIES}, but planeshow "
                      "needs the 2.2 series: run scripts/setup.sh to get it.")
endif()
