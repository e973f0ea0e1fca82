// The model.json of a model folder.
#include "follow/model/description.h"

#include <filesystem>

#include "follow/error.h"
#include "fuzz.h"

namespace {

// A folder whose model.json is a file in memory.
struct Folder {
  Folder() {
    std::string name = std::filesystem::temp_directory_path() / "remora-fuzz.XXXXXX";
    fuzz::require(mkdtemp(name.data()) != nullptr, "there is a temporary folder");
    path = name;
    std::filesystem::create_symlink(model.name(), remora::modelFile(path));
  }
  ~Folder() { std::filesystem::remove_all(path); }

  fuzz::File model;
  std::string path;
};

void expectSense(const remora::ModelDescription& model) {
  for (const remora::Stage& stage : model.stages) {
    fuzz::require(stage.radius >= 0.0F && stage.steps >= 1 && stage.steps <= 1000,
                  "stages make sense");
  }
  fuzz::require(!model.stages.empty() && !model.point_names.empty(), "there is something to track");
  fuzz::require(model.scale > 0.0F && std::isfinite(model.scale), "the scale makes sense");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  folder.model.holding(fuzz::textOf(data, size));
  remora::ModelDescription model;
  try {
    model = remora::readDescription(folder.path);
  } catch (const remora::Error& failure) {
    const std::string line = failure.what();
    fuzz::require(line.find('\n') == line.npos, "a failure is one line");
    return 0;
  }
  expectSense(model);
  const std::string text = remora::formatDescription(model).json;
  folder.model.holding(text);
  fuzz::require(remora::formatDescription(remora::readDescription(folder.path)).json == text,
                "a model that is written comes back");
  return 0;
}
