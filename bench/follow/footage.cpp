#include "footage.h"

#include <cmath>
#include <filesystem>
#include <utility>

#include "follow/annotation/recording.h"
#include "follow/footage/picture.h"
#include "follow/footage/sequences.h"
#include "scene/scene.h"

namespace remora::bench {
namespace {

constexpr int kSceneFrames = 240;  // what a variant is named after grows until then

// As in files, so that results are the same with and without them.
Shape withSixDecimals(Shape shape) {
  const auto rounded = [](double value) { return std::round(1e6 * value) / 1e6; };
  for (Point& p : shape) p = {rounded(p.x), rounded(p.y)};
  return shape;
}

Footage rendered(const tools::Scene& scene) {
  Footage footage;
  for (int i = 0; i < kSceneFrames; ++i) {
    tools::SceneFrame frame = scene.render(i);
    for (std::size_t p = 0; p < frame.hidden.size(); ++p) {
      if (frame.hidden[p]) footage.truth.hidden.emplace(i, p);
    }
    footage.add({frame.width, frame.height, std::move(frame.grey)},
                withSixDecimals(std::move(frame.points)));
  }
  return footage;
}

// Whether a folder holds this scene as it is rendered today: some of its frames are compared.
// hidden.txt is written last.
bool holds(const std::string& folder, const tools::Scene& scene) {
  if (!std::filesystem::exists(folder + "/hidden.txt")) return false;
  for (const int number : {0, kSceneFrames / 2, kSceneFrames - 1}) {
    const std::string file = frameFile(folder + "/scene", number);
    if (!std::filesystem::exists(file)) return false;
    if (loadPicture(file).pixels != scene.render(number).grey) return false;
  }
  return true;
}

}  // namespace

void Footage::add(GreyImage frame, Shape shape) {
  Annotations& known = truth.annotations;
  if (known.names.empty()) known.names = indexNames(shape.size());
  known.frames.push_back({numFrames(), "", std::move(shape)});
  frames.push_back(std::move(frame));
}

Footage loadRecording(const std::string& folder, const std::string& name) {
  Footage footage;
  footage.truth.annotations = readOneRecording(folder + "/truth.txt");
  const int frames = static_cast<int>(footage.truth.annotations.frames.size());
  for (const Frame& frame : listSequence({folder + "/" + name, 0, frames})) {
    footage.frames.push_back(toGrey(loadPicture(frame.file).view()));
  }
  return footage;
}

Footage sceneFootage(tools::SceneVariant variant, unsigned seed, const std::string& folder) {
  const tools::Scene scene(seed, variant);
  if (!holds(folder, scene)) return rendered(scene);
  Footage footage = loadRecording(folder, "scene");
  footage.truth.hidden = readHidden(folder + "/hidden.txt", 0);
  return footage;
}

Footage excerptOf(const Footage& footage, int frames) {
  Footage excerpt;
  for (int i = 0; i < frames; ++i) {
    const int number = i * (footage.numFrames() - 1) / (frames - 1);
    excerpt.add(footage.frame(number), footage.shape(number));
    for (std::size_t p = 0; p < footage.numPoints(); ++p) {
      if (footage.truth.hidden.count({number, p}) != 0) excerpt.truth.hidden.emplace(i, p);
    }
  }
  return excerpt;
}

}  // namespace remora::bench
