// What is followed: recordings and rendered scenes, the frames that are trained on, and the
// stretches that count.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "follow/footage/frame_choice.h"
#include "footage.h"
#include "scene/variant.h"

namespace remora::bench {

struct Stretch {
  std::string name;
  FrameChoice judged;
  bool unseen = true;  // training has not seen such frames
  int step = 1;        // every so many frames are followed, from frame 0 on
};

struct Subject {
  std::string name;
  std::string shape;  // what is to be seen: subjects of one shape may be taken for each other
  std::optional<tools::SceneVariant> variant;  // none: a recording
  std::string folder;  // of a recording, or of scenes that are rendered already
  FrameChoice training;
  std::vector<Stretch> stretches;

  // The seed chooses the scene; recordings are what they are.
  Footage footage(unsigned seed) const;
};

// Recordings are looked for in one folder, scenes in the other, as NAME-SEED.
std::vector<Subject> allSubjects(const std::string& recordings, const std::string& scenes);

// Whether there is footage: scenes can always be rendered.
bool isThere(const Subject& subject);

}  // namespace remora::bench
