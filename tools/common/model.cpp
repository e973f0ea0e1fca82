#include "common/model.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>

#include "common/failure.h"
#include "follow/base/files.h"
#include "follow/base/hash.h"
#include "follow/base/text.h"

namespace remora::tools {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr char kFormat[] = "remora model";
constexpr int kVersion = 1;
constexpr float kBlurSigma = 1.0F;

// A key or a name, with nothing in it that could break a line.
std::string quoted(const std::string& text) {
  return Json(text).dump(-1, ' ', true, Json::error_handler_t::replace);
}

// A key that is not known may ask for something that would not be done.
void requireKnownKeys(const Json& object, std::initializer_list<const char*> known) {
  for (const auto& item : object.items()) {
    if (std::find(known.begin(), known.end(), item.key()) != known.end()) continue;
    throw Failure(quoted(item.key()) + " is not known");
  }
}

// Fails unless the number is within the limits, and whole where its type is.
template <class Number>
Number numberAt(const Json& json, const char* key, Number least, Number most) {
  const double value = json.at(key).get<double>();
  const bool whole = value == std::trunc(value) || !std::numeric_limits<Number>::is_integer;
  if (whole && value >= static_cast<double>(least) && value <= static_cast<double>(most)) {
    return static_cast<Number>(value);
  }
  throw Failure(quoted(key) + " is not from " + Json(least).dump() + " to " + Json(most).dump());
}

Stage readStage(const Json& json) {
  Stage stage;
  stage.radius = numberAt(json, "radius", 0.0F, kLargestRadius);
  stage.steps = numberAt(json, "steps", 1, kMostSteps);
  stage.flat_check = json.value("check", "");
  requireKnownKeys(json, {"radius", "steps", "check"});
  return stage;
}

Model fromJson(const Json& json) {
  constexpr int kAny = std::numeric_limits<int>::max();
  if (json.at("format") != kFormat) throw Failure("it is not a model");
  if (json.at("version") != kVersion) throw Failure("its version is unknown");
  requireKnownKeys(json, {"format", "version", "stages", "scale", "blur", "seed", "predictors",
                          "generations", "training frames", "plan", "points"});
  Model model;
  for (const Json& stage : json.at("stages")) model.stages.push_back(readStage(stage));
  model.scale = numberAt(json, "scale", kSmallestScale, kLargestScale);
  model.seed = numberAt(json, "seed", 0U, std::numeric_limits<unsigned>::max());
  model.predictors = numberAt(json, "predictors", 1, kMostPredictors);
  model.generations = numberAt(json, "generations", 1, kMostGenerations);
  model.training_frames = numberAt(json, "training frames", 1, kAny);
  model.plan_mark = json.value("plan", "");
  model.point_names = json.at("points").get<std::vector<std::string>>();
  const std::vector<std::string>& names = model.point_names;
  if (!std::all_of(names.begin(), names.end(), isPointName)) throw Failure("a name makes no sense");
  if (names.empty()) throw Failure("it has no points");
  if (model.stages.empty()) throw Failure("it has no stages");
  if (model.stages.size() > kMostStages) throw Failure("it has too many stages");
  if (json.at("blur") != kBlurSigma) throw Failure("frames are smoothed with a blur of 1 only");
  return model;
}

}  // namespace

std::string modelFile(const std::string& folder) { return fs::path(folder) / "model.json"; }

std::string bunchFile(const std::string& folder, std::size_t stage, int coordinate) {
  return fs::path(folder) / format("stage%zu.%c.lpb", stage, kCoordinateNames[coordinate]);
}

std::string flatFile(const std::string& folder, std::size_t stage) {
  return fs::path(folder) / format("stage%zu.flp", stage);
}

bool isPointName(const std::string& name) {
  const auto separates = [](char c) { return c == ',' || c == '"' || (c >= 0 && c < ' '); };
  const std::string text = Json(name).dump(-1, ' ', false, Json::error_handler_t::ignore);
  return !name.empty() && Json::parse(text) == name &&
         std::none_of(name.begin(), name.end(), separates);
}

Model readModel(const std::string& folder) {
  const std::string file = modelFile(folder);
  constexpr std::size_t kMostModel = 1 << 24;  // a tree of JSON takes many times as much memory
  const std::string content = readFile(file, kMostModel);
  try {
    return fromJson(Json::parse(content));
  } catch (const std::exception& error) {
    throw Failure("model file " + file + " is not valid: " + error.what());
  }
}

std::string formatModel(const Model& model) {
  Json stages = Json::array();
  for (std::size_t i = 0; i < model.stages.size(); ++i) {
    const Stage& stage = model.stages[i];
    stages.push_back({{"radius", stage.radius}, {"steps", stage.steps}});
    if (!stage.flat_check.empty()) stages.back()["check"] = stage.flat_check;
  }
  Json json = {{"format", kFormat},
               {"version", kVersion},
               {"stages", stages},
               {"scale", model.scale},
               {"blur", kBlurSigma},
               {"seed", model.seed},
               {"predictors", model.predictors},
               {"generations", model.generations},
               {"training frames", model.training_frames},
               {"points", model.point_names}};
  if (!model.plan_mark.empty()) json["plan"] = model.plan_mark;
  return json.dump(2) + "\n";
}

std::string checkOf(const std::string& file) { return Hash().text(readFile(file)).digits(); }

int defaultSteps(std::size_t stage) { return stage == 0 ? 2 : 1; }

}  // namespace remora::tools
