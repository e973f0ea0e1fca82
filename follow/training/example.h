// One annotated frame.
#pragma once

#include <string>
#include <vector>

#include "follow/annotation/recording.h"
#include "follow/annotation/shape.h"
#include "follow/export.h"
#include "follow/footage/image.h"

namespace remora {

struct Example {
  std::string name;  // for messages: where the picture came from
  GreyImage image;
  Shape shape;
  float white = 255.0F;  // of its file, as Picture has it
  // The pictures of the frames before and after it in its recording, without pixels where they are
  // not known. Nothing is learned from them: they tell positions that are shifted by a frame. A few
  // examples that have them are enough.
  GreyImage before = {};
  GreyImage after = {};
};

// Annotated frames of a recording, with the points that they show; none where all that is known is
// hidden. A video is read once, up to the last frame that
// is wanted of it. Throws Error, naming the frame, when one is not there.
REMORA_FOLLOW_EXPORT std::vector<Example> loadExamples(const Recording& recording,
                                                       const std::vector<AnnotatedFrame>& frames);

}  // namespace remora
