// A verb that cannot do its work throws a Failure; main prints its one line and ends with status 1.
#pragma once

#include <stdexcept>

namespace remora::tools {

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The command line itself cannot be understood; status 2.
struct Misuse : Failure {
  using Failure::Failure;
};

}  // namespace remora::tools
