// One annotated frame.
#pragma once

#include <string>

#include "follow/annotation/shape.h"
#include "follow/footage/image.h"

namespace remora {

struct Example {
  std::string name;  // for messages: the file that the picture came from
  GreyImage image;
  Shape shape;
};

}  // namespace remora
