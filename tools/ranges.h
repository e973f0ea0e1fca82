// Limits of numbers that options take.
#pragma once

#include <CLI/CLI.hpp>
#include <sstream>

namespace remora::tools {

// A range whose limits are shown in the help.
template <class Number>
CLI::Range between(Number least, Number most) {
  std::ostringstream limits;
  limits << least << " ... " << most;
  return {least, most, limits.str()};
}

}  // namespace remora::tools
