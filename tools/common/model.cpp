#include "common/model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "common/failure.h"
#include "common/files.h"
#include "common/hash.h"
#include "common/text.h"

namespace remora::tools {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kFormat[] = "remora model";
constexpr int kVersion = 1;
constexpr float kBlurSigma = 1.0F;

// A number that its type can hold; a whole one where the type is.
template <class Number>
Number numberAt(const Json& json, const char* key) {
  const double value = json.at(key).get<double>();
  constexpr auto kLowest = static_cast<double>(std::numeric_limits<Number>::lowest());
  constexpr auto kLargest = static_cast<double>(std::numeric_limits<Number>::max());
  const bool whole = value == std::trunc(value) || !std::numeric_limits<Number>::is_integer;
  if (!whole || !(value >= kLowest && value <= kLargest)) {
    throw Failure(std::string("its ") + key + " makes no sense");
  }
  return static_cast<Number>(value);
}

Stage readStage(const Json& json) {
  Stage stage;
  stage.radius = numberAt<float>(json, "radius");
  stage.steps = numberAt<int>(json, "steps");
  stage.flat_check = json.value("check", "");
  if (!(stage.radius >= 0.0F) || stage.steps < 1) throw Failure("a stage makes no sense");
  return stage;
}

Model fromJson(const Json& json) {
  if (json.at("format") != kFormat) throw Failure("it is not a model");
  if (json.at("version") != kVersion) throw Failure("its version is unknown");
  Model model;
  for (const Json& stage : json.at("stages")) model.stages.push_back(readStage(stage));
  model.scale = numberAt<float>(json, "scale");
  model.seed = numberAt<unsigned>(json, "seed");
  model.predictors = numberAt<int>(json, "predictors");
  model.generations = numberAt<int>(json, "generations");
  model.training_frames = numberAt<int>(json, "training frames");
  model.plan_mark = json.value("plan", "");
  model.point_names = json.at("points").get<std::vector<std::string>>();
  const std::vector<std::string>& names = model.point_names;
  if (!std::all_of(names.begin(), names.end(), isPointName)) throw Failure("a name makes no sense");
  if (model.stages.empty()) throw Failure("it has no stages");
  const bool is_scale = model.scale >= kSmallestScale && model.scale <= kLargestScale;
  if (!is_scale) throw Failure("the scale makes no sense");
  return model;
}

}  // namespace

std::string modelFile(const std::string& folder) { return folder + "/model.json"; }

std::string bunchFile(const std::string& folder, std::size_t stage, int coordinate) {
  return format("%s/stage%zu.%c.lpb", folder.c_str(), stage, kCoordinateNames[coordinate]);
}

std::string flatFile(const std::string& folder, std::size_t stage) {
  return format("%s/stage%zu.flp", folder.c_str(), stage);
}

bool isPointName(const std::string& name) {
  const auto separates = [](char c) { return c == ',' || c == '"' || (c >= 0 && c < ' '); };
  const std::string text = Json(name).dump(-1, ' ', false, Json::error_handler_t::ignore);
  return !name.empty() && Json::parse(text) == name &&
         std::none_of(name.begin(), name.end(), separates);
}

Model readModel(const std::string& folder) {
  const std::string file = modelFile(folder);
  const std::string content = readFile(file);
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

std::vector<int> parseSteps(const std::string& text, std::size_t count) {
  std::vector<int> steps;
  for (const std::string& piece : split(text, ','))
    steps.push_back(toNumber<int>(piece).value_or(0));
  const bool positive = *std::min_element(steps.begin(), steps.end()) > 0;
  if (steps.size() == count && positive) return steps;
  throw Misuse(
      format("steps %s: %zu positive numbers are needed, one for each stage", text.c_str(), count));
}

}  // namespace remora::tools
