#pragma once

#include <cstdint>
#include <string_view>

// The pixel formats that the tool knows, in the order of the help, with the display driver's codes.
inline constexpr struct {
  std::string_view name;
  std::int32_t code;
} formatTable[] = {{"ARGB8888", 0}, {"RGB888", 1}, {"RGB565", 2}};
