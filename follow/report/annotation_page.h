// The page in which people place points on frames, and look over tracks.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "follow/annotation/annotations.h"
#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/picture.h"

namespace remora {

// A frame as the page gets it.
struct PageFrame {
  int number = 0;
  std::string file;   // as the saved file will name it: an image, or the recording
  std::string label;  // what the page calls it
  std::string why;    // why it should be annotated; may be empty
  const AnnotatedFrame* known = nullptr;  // positions to begin with; none: nothing is known
  const TrackedShape* tracked = nullptr;  // positions to look over
};

// One HTML file that needs nothing else: pictures, positions and all code are in it. What it saves
// is an annotation file in JSON (annotation/annotations.h).
class REMORA_FOLLOW_EXPORT AnnotationPage {
 public:
  // `title` names the footage; points as annotations have them, whose frames are not looked at.
  AnnotationPage(std::string title, const Annotations& points);

  // The picture is encoded and can go. Positions are in the order of the points.
  void add(const PageFrame& frame, const Picture& picture);

  std::size_t numFrames() const { return frames_; }
  // Throws Error for a name that is not UTF-8.
  std::string text() const;

 private:
  std::string title_;
  std::string points_;      // as JSON, and lines
  std::string frame_data_;  // as JSON, between commas
  std::size_t frames_ = 0;
};

// How sure tracking was of a frame: the mean confidence of its points, 0 for those that are lost.
// Nothing where no confidence is known.
REMORA_FOLLOW_EXPORT std::optional<double> meanConfidence(const TrackedShape& shape);

}  // namespace remora
