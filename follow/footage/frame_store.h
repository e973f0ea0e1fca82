// Frames in any order.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "follow/export.h"
#include "follow/footage/footage.h"

namespace remora {

class ScratchFile;

// All frames of footage, by index: images are read from their files whenever they are asked for;
// the grey frames of a video are read once, and wait in a temporary file (width x height bytes
// each).
class REMORA_FOLLOW_EXPORT FrameStore {
 public:
  // Told of every frame that is read into the temporary file, and how many there will probably be.
  using Tell = std::function<void(std::optional<long>)>;

  // Throws Error when the footage cannot be read or the disk is full.
  FrameStore(const Footage& footage, const Tell& tell);
  ~FrameStore();

  std::size_t size() const { return frames_.size(); }
  int numberOf(std::size_t index) const { return frames_[index].number; }
  double timeOf(std::size_t index) const { return frames_[index].time; }
  bool tellsTimes() const { return tells_times_; }
  // Throws Error when a frame cannot be read, or has another size than the first one loaded.
  FootageFrame load(std::size_t index);

 private:
  std::vector<FootageFrame> frames_;  // without their pictures
  bool tells_times_ = false;
  std::unique_ptr<ScratchFile> stored_;  // none of images
  FrameSize size_;
};

}  // namespace remora
