// One annotated frame.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "follow/annotation/recording.h"
#include "follow/annotation/shape.h"
#include "follow/export.h"
#include "follow/footage/image.h"

namespace remora {

struct Example {
  std::string name;  // for messages: where the picture came from
  GreyImage image;   // only its size where `load` gives the pixels
  Shape shape;
  float white = 255.0F;  // of its file, as Picture has it
  // The pictures of the frames before and after it in its recording, without pixels where they are
  // not known. Nothing is learned from them: they tell positions that are shifted by a frame. A few
  // examples that have them are enough.
  GreyImage before = {};
  GreyImage after = {};
  // Where not all pictures shall be in memory at once: gives the picture, the same at every call,
  // also in a process that was forked from this one.
  std::function<GreyImage()> load = {};
};

// The picture of an example, in memory as long as this object is.
class ExamplePicture {
 public:
  explicit ExamplePicture(const Example& example)
      : loaded_(example.load ? example.load() : GreyImage()),
        picture_(example.load ? &loaded_ : &example.image) {}
  ExamplePicture(const ExamplePicture&) = delete;
  ExamplePicture& operator=(const ExamplePicture&) = delete;

  const GreyImage& operator*() const { return *picture_; }
  const GreyImage* operator->() const { return picture_; }

 private:
  GreyImage loaded_;
  const GreyImage* picture_;
};

class ScratchFile;

// Keeps the pictures of examples: the first ones in memory, up to so many bytes, and those that
// come after them in a temporary file, from which they are read whenever they are looked at. The
// examples may outlive it.
class REMORA_FOLLOW_EXPORT ExampleStore {
 public:
  explicit ExampleStore(std::uint64_t bytes) : left_(bytes) {}

  // Throws Error when the disk is full.
  void keep(Example& example);

 private:
  std::uint64_t left_;
  std::shared_ptr<ScratchFile> file_;
};

// Annotated frames of a recording, with the points that they show; none where all that is known is
// hidden. A video is read once, up to the last frame that
// is wanted of it. Pictures are kept where `store` keeps them, or in memory. Throws Error, naming
// the frame, when one is not there.
REMORA_FOLLOW_EXPORT std::vector<Example> loadExamples(const Recording& recording,
                                                       const std::vector<AnnotatedFrame>& frames,
                                                       ExampleStore* store = nullptr);

}  // namespace remora
