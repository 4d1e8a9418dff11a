# Finds the header of the option parser's release 2.2.1, or fetches it into build/deps. scripts/setup.sh runs this
# file as a script, too. Configuring a build never asks apt.
set(sum 8927a2ff6a2deb45496bb1b1b4cd9e5bd1a2c01f29c4088168540f2ffed60bdf)
set(addresses $ENV{PLANESHOW_CXXOPTS_URL} https://github.com/jarro2783/cxxopts/raw/v2.2.1/include/cxxopts.hpp)
list(GET addresses 0 address)
cmake_path(SET deps NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/deps")

# Other series have other rules, exception names and help layouts. 2.2.0 and snapshots of 2020 give the same version
# as 2.2.1, so the code has to tell.
function(is_right result file)
  file(READ "${file}" text)
  if(NOT text MATCHES "_MAJOR 2.*_MINOR 2.*parse\\(int& argc, char\\*\\*& argv\\).*store\\.has_default\\(\\)")
    set(${result} FALSE PARENT_SCOPE)
  endif()
endfunction()

# cmake -D takes precedence over the environment, even with an empty name.
set(PLANESHOW_CXXOPTS_DIR NOTFOUND CACHE PATH "Folder of a cxxopts.hpp 2.2.1, instead of build/deps")
if(PLANESHOW_CXXOPTS_DIR STREQUAL "NOTFOUND")
  set(PLANESHOW_CXXOPTS_DIR "$ENV{PLANESHOW_CXXOPTS_DIR}")
endif()
set(where "${deps}" ${CMAKE_PREFIX_PATH} ENV CMAKE_PREFIX_PATH /usr/local /usr PATH_SUFFIXES include)
if(PLANESHOW_CXXOPTS_DIR)
  set(where "${PLANESHOW_CXXOPTS_DIR}")
endif()
find_file(header cxxopts.hpp PATHS ${where} VALIDATOR is_right NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)

if(PLANESHOW_CXXOPTS_DIR AND NOT header)
  message(FATAL_ERROR "PLANESHOW_CXXOPTS_DIR names ${where}, but there is no cxxopts.hpp 2.2.1. Release 2.2.0 reads \
the default of a list twice, snapshots of 2020 do not compile, and other series have other rules.")
elseif(NOT PLANESHOW_CXXOPTS_DIR AND NOT header STREQUAL "${deps}/cxxopts.hpp")
  file(MAKE_DIRECTORY "${deps}")
  # The file goes into that folder when it is complete and right.
  if(header)
    file(COPY_FILE "${header}" "${deps}.hpp")
  else()
    message(STATUS "Fetching ${address}\n   If this fails, put the cxxopts.hpp of release 2.2.1, not 2.2.0, into ${deps}, \
or export PLANESHOW_CXXOPTS_DIR, its folder, or PLANESHOW_CXXOPTS_URL, its address.")
    # A fresh machine has no certificates to check the connection with. The SHA-256 sum checks the content.
    file(DOWNLOAD "${address}" "${deps}.hpp" EXPECTED_HASH SHA256=${sum} TIMEOUT 60 TLS_VERIFY OFF)
  endif()
  set(header "${deps}/cxxopts.hpp")
  file(RENAME "${deps}.hpp" "${header}")
endif()
message(STATUS "Option parser: ${header}")
