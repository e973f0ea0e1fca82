// A verb that cannot do its work throws a Failure; main prints its one line and ends with status 1.
#pragma once

#include <stdexcept>

namespace remora::tools {

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace remora::tools
