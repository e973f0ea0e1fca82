// The folder of a run's overlay pictures, nnnnn.png.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/picture.h"
#include "follow/render/tracks_drawing.h"

namespace remora {

class REMORA_FOLLOW_EXPORT OverlayFolder {
 public:
  explicit OverlayFolder(std::string folder) : folder_(std::move(folder)) {}

  std::string pictureOf(int frame) const;
  // Pictures of earlier runs.
  std::vector<std::string> earlier() const;
  // Fails where a picture of this frame would replace anything else.
  void requireRoomFor(int frame) const;

  // Draws one of the tracks' frames on its picture. The first time, the folder is made where it
  // is missing, and pictures of earlier runs are removed.
  void add(const Picture& picture, const Tracks& tracks, std::size_t index);

 private:
  std::string folder_;
  TracksDrawing drawing_;
  bool is_open_ = false;
};

}  // namespace remora
