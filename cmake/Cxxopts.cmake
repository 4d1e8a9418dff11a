# Finds the option parser's header, or fetches it into build/deps. Refuses other series than 2.2: their rules,
# exception names and help layout differ. scripts/setup.sh runs this file as a script, too, and passes the
# machine's Debian mirror as MIRROR: configuring a build never asks apt.
set(sum 8927a2ff6a2deb45496bb1b1b4cd9e5bd1a2c01f29c4088168540f2ffed60bdf)
set(addresses $ENV{PLANESHOW_CXXOPTS_URL} https://github.com/jarro2783/cxxopts/raw/v2.2.1/include/cxxopts.hpp)
list(GET addresses 0 address)
cmake_path(SET deps NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/deps")

# cmake -D takes precedence over the environment.
set(PLANESHOW_CXXOPTS_DIR NOTFOUND CACHE PATH "Folder of a cxxopts.hpp of the 2.2 series, instead of build/deps")
message(STATUS "Looking for cxxopts.hpp in PLANESHOW_CXXOPTS_DIR and ${deps}")
find_path(PLANESHOW_CXXOPTS_DIR cxxopts.hpp PATHS ENV PLANESHOW_CXXOPTS_DIR "${deps}"
          NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)

if(NOT PLANESHOW_CXXOPTS_DIR)
  set(PLANESHOW_CXXOPTS_DIR "${deps}")
  # Fetch into a folder beside it first, so that it never holds half a file.
  set(new "${deps}.new/usr/include/cxxopts.hpp")
  file(REMOVE_RECURSE "${deps}.new")
  file(MAKE_DIRECTORY "${deps}" "${deps}.new")
  if(MIRROR)
    message(STATUS "Trying libcxxopts-dev of Debian 11 from ${MIRROR}")
    execute_process(OUTPUT_QUIET COMMAND /usr/lib/apt/apt-helper -o APT::Sandbox::User= download-file
      "${MIRROR}pool/main/c/cxxopts/libcxxopts-dev_2.2.1-2_amd64.deb" "${deps}.new/package"
      SHA256:aa071c1fdb984c3279e811937605b45d50c45291192ace3c5c8c1ed1badf5632)
    execute_process(ERROR_QUIET COMMAND dpkg-deb --extract "${deps}.new/package" "${deps}.new")
  endif()
  if(NOT EXISTS "${new}")
    message(STATUS "Trying ${address}")
    # A fresh machine has no certificates to check the connection with. The SHA-256 sum checks the content.
    file(DOWNLOAD "${address}" "${new}" STATUS status TIMEOUT 60 TLS_VERIFY OFF)
  endif()
  file(SHA256 "${new}" actual)
  if(actual STREQUAL sum)
    file(RENAME "${new}" "${deps}/cxxopts.hpp")
  elseif(status MATCHES "^[1-9]")
    message(STATUS "  failed: ${status}")
  else()
    message(STATUS "  refused: its SHA-256 is ${actual}")
  endif()
  file(REMOVE_RECURSE "${deps}.new")
endif()

set(PLANESHOW_CXXOPTS_HEADER "${PLANESHOW_CXXOPTS_DIR}/cxxopts.hpp" CACHE INTERNAL "For scripts/package.sh")
if(EXISTS "${PLANESHOW_CXXOPTS_HEADER}")
  file(STRINGS "${PLANESHOW_CXXOPTS_HEADER}" series REGEX "^#define CXXOPTS__VERSION_M")
endif()
if(NOT series MATCHES "MAJOR 2;.*MINOR 2$")
  # CMake does not wrap a line that begins with a blank.
  message(FATAL_ERROR "There is no cxxopts.hpp of the 2.2 series in ${PLANESHOW_CXXOPTS_DIR}.\n Put that of 2.2.1 \
(SHA-256 ${sum}) into ${deps}, or export PLANESHOW_CXXOPTS_DIR, its folder, or PLANESHOW_CXXOPTS_URL, its address.")
endif()
