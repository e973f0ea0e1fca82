// A verb that cannot do its work throws an Error; main prints its one line and ends with status 1.
#pragma once

#include "follow/error.h"

namespace remora::tools {

using Failure = Error;

// The command line itself cannot be understood; status 2.
struct Misuse : Error {
  using Error::Error;
};

}  // namespace remora::tools
