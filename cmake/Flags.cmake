add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
                    -Wnon-virtual-dtor -Wundef -Wformat=2)

if(PLANESHOW_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# All builds but debug ones are hardened.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
  # A static C++ library saves a quarter of memory and start-up time, and need not be installed.
  add_link_options(-static-libstdc++ -static-libgcc -Wl,--exclude-libs,ALL)
endif()
