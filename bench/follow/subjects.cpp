#include "subjects.h"

#include <filesystem>

namespace remora::bench {
namespace {

Subject cartonIn(const std::string& folder) {
  return {"carton",
          "carton",
          {},
          folder,
          {{0, 48, 3}},
          {{"carton 1-48", {{1, 48}}, false},
           {"carton 49-98, smaller than trained", {{49, 98}}},
           {"carton 51-96, every 3rd frame only", {{51, 96}}, true, 3}}};
}

Subject faceIn(const std::string& folder) {
  return {"face",
          "face",
          {},
          folder,
          {{0, 149, 10}},
          {{"face 1-149", {{1, 149}}, false}, {"face 150-227, other motion", {{150, 227}}}}};
}

Subject sceneIn(const std::string& folder, const tools::NamedVariant& named) {
  const std::string name = named.name;
  return {name, "fish", named.variant, folder, {{0, 119, 6}}, {{"scene, " + name, {{120, 239}}}}};
}

}  // namespace

Footage Subject::footage(unsigned seed) const {
  if (!variant) return loadRecording(folder, name);
  return sceneFootage(*variant, seed, folder + "/" + name + "-" + std::to_string(seed));
}

std::vector<Subject> allSubjects(const std::string& recordings, const std::string& scenes) {
  std::vector<Subject> subjects = {cartonIn(recordings + "/carton"), faceIn(recordings + "/face")};
  for (const tools::NamedVariant& named : tools::kSceneVariants) {
    subjects.push_back(sceneIn(scenes, named));
  }
  return subjects;
}

bool isThere(const Subject& subject) {
  return subject.variant || std::filesystem::exists(subject.folder + "/truth.txt");
}

}  // namespace remora::bench
