// What remora::follow throws: one line that names the file, the place and the reason.
#pragma once

#include <stdexcept>

#include "follow/export.h"

namespace remora {

class REMORA_FOLLOW_EXPORT Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace remora
