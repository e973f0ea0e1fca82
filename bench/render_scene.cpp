// Renders a scene into a folder, for measurements of trackers: the frames as scene.nnnnn.png, the
// positions of the points as truth.txt, a shape sequence file, and hidden.txt with a line for each
// frame: the indices of the points that something covers, none in most lines.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "follow/annotation/shape_files.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/footage/png_files.h"
#include "follow/footage/sequences.h"
#include "output.h"
#include "scene/scene.h"
#include "seeds.h"

namespace {

using namespace remora;
using namespace remora::tools;

SceneVariant parseVariant(const std::string& text) {
  std::string names;
  for (const NamedVariant& each : kSceneVariants) {
    if (text == each.name) return each.variant;
    names += std::string(" ") + each.name;
  }
  throw Misuse("VARIANT is '" + text + "', must be one of" + names);
}

int parseFrames(const std::string& text) {
  constexpr int kMost = 99999;  // five digits in the names of files
  const auto frames = toNumber<int>(text);
  if (!frames || *frames < 1 || *frames > kMost) {
    throw Misuse(format("FRAMES is '%s', must be a number from 1 to %d", text.c_str(), kMost));
  }
  return *frames;
}

std::string formatHidden(const std::vector<bool>& hidden) {
  std::string line;
  for (std::size_t i = 0; i < hidden.size(); ++i) {
    if (hidden[i]) line += (line.empty() ? "" : " ") + std::to_string(i);
  }
  return line + "\n";
}

void renderScene(const Scene& scene, int frames, const std::string& folder) {
  makeFolder(folder);
  std::vector<Shape> shapes;
  std::string hidden;
  for (int i = 0; i < frames; ++i) {
    const SceneFrame frame = scene.render(i);
    savePng(frame.view(), frameFile(folder + "/scene", i));
    shapes.push_back(frame.points);
    hidden += formatHidden(frame.hidden);
  }
  writeFile(folder + "/truth.txt", formatShapes(shapes));
  writeFile(folder + "/hidden.txt", hidden);
}

void run(const std::vector<std::string>& arguments) {
  if (arguments.size() != 4) {
    throw Misuse(
        "usage: remora_render_scene VARIANT SEEDS FRAMES FOLDER; several seeds, 1,2,3, go to "
        "FOLDER-1, FOLDER-2, FOLDER-3");
  }
  const SceneVariant variant = parseVariant(arguments[0]);
  const std::vector<unsigned> seeds = bench::parseSeeds(arguments[1]);
  const int frames = parseFrames(arguments[2]);
  for (const unsigned seed : seeds) {
    const std::string suffix = seeds.size() > 1 ? "-" + std::to_string(seed) : "";
    renderScene(Scene(seed, variant), frames, arguments[3] + suffix);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    run({argv + 1, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "remora_render_scene: %s\n", error.what());
    return dynamic_cast<const Misuse*>(&error) == nullptr ? 1 : 2;
  }
}
