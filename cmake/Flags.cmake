add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
                    -Wnon-virtual-dtor -Wundef -Wformat=2)

if(PLANESHOW_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# For a device: everything is in the executable, and small, as unused functions are left out and LTO shrinks the
# parser's templates. In a single partition the result is smallest, and g++ needs no make, as it would for several.
if(PLANESHOW_STATIC)
  include(CheckIPOSupported)
  check_ipo_supported(RESULT CMAKE_INTERPROCEDURAL_OPTIMIZATION OUTPUT why_not)
  add_compile_options(-ffunction-sections -fdata-sections)
  add_link_options(-static -s -Wl,--gc-sections $<$<CXX_COMPILER_ID:GNU>:-flto-partition=none>)
endif()

# All builds but debug ones are hardened. Some compilers define _FORTIFY_SOURCE themselves, often with another value,
# and would warn about a second definition.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
  # A static C++ library saves a quarter of memory and start-up time, and need not be installed.
  add_link_options(-static-libstdc++ -static-libgcc -Wl,--exclude-libs,ALL)
endif()
