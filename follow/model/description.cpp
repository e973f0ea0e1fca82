#include "follow/model/description.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "follow/annotation/point_names.h"
#include "follow/base/files.h"
#include "follow/base/hash.h"
#include "follow/base/json_text.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kFormat[] = "remora model";
constexpr std::size_t kMostModelBytes = 1 << 24;  // a tree of JSON takes many times as much memory
// Version 4 had fewer stages on the coarse canvas; the versions before, 1 of a plain model and 2,
// did not know their training frames either, nor what training said of them.
constexpr int kPlainVersion = 3;
constexpr int kFollowingVersion = 5;
constexpr int kEarlierPlainVersion = 1;
constexpr int kEarliestFollowingVersion = 2;
constexpr std::size_t kMostLines = 1000;  // of a review
constexpr double kBlurSigma = 1.0;
constexpr int kMostPatches = 1000;  // of a point
constexpr double kLargest = 1e9;    // of anything
constexpr float kOldCoarseRadius = 30.0F;

// A key, with nothing in it that could break a line.
std::string quoted(const std::string& text) {
  return Json(text).dump(-1, ' ', true, Json::error_handler_t::replace);
}

// A picture beside the file is at fault, not the file itself.
struct PictureError : Error {
  using Error::Error;
};

// An object of the file. Every key must be asked for.
class Object {
 public:
  Object(const Json& json, std::string place) : json_(json), place_(std::move(place)) {
    if (!json.is_object()) throw Error(place_ + " is no object");
  }

  bool has(const char* key) const { return json_.contains(key); }

  const Json& at(const char* key) {
    known_.insert(key);
    if (!has(key)) throw Error(place_ + " has no \"" + key + "\"");
    return json_.at(key);
  }

  double real(const char* key, double least, double most) {
    return checked(at(key), place_ + ", \"" + key + "\"", least, most);
  }

  template <class Number = int>
  Number whole(const char* key, double least, double most) {
    const double value = real(key, least, most);
    if (value != std::trunc(value)) throw Error(place_ + ", \"" + key + "\": not a whole number");
    return static_cast<Number>(value);
  }

  std::string text(const char* key) {
    const Json& value = at(key);
    if (!value.is_string()) throw Error(place_ + ", \"" + key + "\": not a text");
    return value.get<std::string>();
  }

  const Json& list(const char* key, std::size_t least, std::size_t most) {
    const Json& value = at(key);
    if (!value.is_array() || value.size() < least || value.size() > most) {
      throw Error(
          format("%s, \"%s\": not a list of %zu to %zu entries", place_.c_str(), key, least, most));
    }
    return value;
  }

  std::vector<double> reals(const char* key, std::size_t least, std::size_t most) {
    std::vector<double> values;
    for (const Json& value : list(key, least, most)) {
      values.push_back(checked(value, place_ + ", \"" + key + "\"", -kLargest, kLargest));
    }
    return values;
  }

  Shape shape(const char* key, std::size_t points) {
    const std::vector<double> values = reals(key, 2 * points, 2 * points);
    Shape shape(points);
    for (std::size_t p = 0; p < points; ++p) shape[p] = {values[2 * p], values[2 * p + 1]};
    return shape;
  }

  void done() const {
    for (const auto& item : json_.items()) {
      if (known_.count(item.key()) == 0) {
        throw Error(place_ + ": " + quoted(item.key()) + " is not known");
      }
    }
  }

 private:
  static double checked(const Json& value, const std::string& place, double least, double most) {
    const double number = value.is_number() ? value.get<double>() : std::nan("");
    if (number >= least && number <= most) return number;
    throw Error(format("%s: not a number from %g to %g", place.c_str(), least, most));
  }

  const Json& json_;
  std::string place_;
  std::set<std::string> known_;
};

Json toJson(const Shape& shape) {
  Json list = Json::array();
  for (const Point& p : shape) {
    list.push_back(p.x);
    list.push_back(p.y);
  }
  return list;
}

// ------------------------------------------------------------------------------------ pictures

std::string formatPgm(std::size_t width, std::size_t height, const std::vector<float>& grey) {
  std::string text = format("P5\n%zu %zu\n255\n", width, height);
  for (const float value : grey) {
    text += static_cast<char>(static_cast<unsigned char>(
        std::lround(std::clamp(static_cast<double>(value), 0.0, 255.0))));
  }
  return text;
}

std::vector<float> readPgm(const std::string& file, std::size_t width, std::size_t height,
                           const std::string& check) {
  const std::string content = readFile(file);
  const std::string header = format("P5\n%zu %zu\n255\n", width, height);
  if (content.compare(0, header.size(), header) != 0 ||
      content.size() != header.size() + width * height) {
    throw PictureError(
        format("%s: not a picture of %zu x %zu grey levels as the model file wants it",
               file.c_str(), width, height));
  }
  if (!isOfCheck(content, check)) {
    throw PictureError(file + ": damaged, or not of the training that the model file describes");
  }
  std::vector<float> grey;
  grey.reserve(width * height);
  for (std::size_t i = header.size(); i < content.size(); ++i) {
    grey.push_back(static_cast<float>(static_cast<unsigned char>(content[i])));
  }
  return grey;
}

// ------------------------------------------------------------------------------------ canvas

Json toJson(const Level& level) {
  return {{"factor", level.factor},
          {"origin", toJson(Shape{level.origin})},
          {"width", level.width},
          {"height", level.height}};
}

Level readLevel(const Json& json, const std::string& place) {
  Object object(json, place);
  Level level;
  level.factor = object.whole("factor", 1, 16);
  level.origin = object.shape("origin", 1)[0];
  level.width = object.whole("width", kPatchSide, kMostCanvasSide);
  level.height = object.whole("height", kPatchSide, kMostCanvasSide);
  object.done();
  return level;
}

Json toJson(const Calibration& calibration) {
  Json list = Json::array();
  for (const auto& [score, share] : calibration.nodes) {
    list.push_back(score);
    list.push_back(share);
  }
  return list;
}

Calibration readCalibration(Object& object, const char* key) {
  const std::vector<double> values = object.reals(key, 2, 1000);
  Calibration calibration;
  for (std::size_t i = 0; i + 1 < values.size(); i += 2) {
    const bool rises = calibration.nodes.empty() || values[i] > calibration.nodes.back().first;
    if (!rises || !(values[i + 1] >= 0.0 && values[i + 1] <= 1.0)) {
      throw Error(std::string("\"") + key + "\" is no curve of shares");
    }
    calibration.nodes.emplace_back(values[i], values[i + 1]);
  }
  return calibration;
}

// How many patches each point has, on either level.
std::vector<std::size_t> patchesOf(const FollowingModel& model) {
  std::vector<std::size_t> counts;
  for (const Look& look : model.looks[kFine]) counts.push_back(look.patches.size());
  return counts;
}

Json toJson(const FollowingModel& model, const DescriptionFiles& files) {
  Json modes = Json::array();
  for (const Shape& mode : model.shape.modes()) modes.push_back(toJson(mode));
  Json usual[kLevels];
  for (int l = 0; l < kLevels; ++l) {
    usual[l] = Json::array();
    for (const Look& look : model.looks[l]) usual[l].push_back(look.usual);
  }
  const Affine& pose = model.usual;
  return {{"fine", toJson(model.levels[kFine])},
          {"coarse", toJson(model.levels[kCoarse])},
          {"picture_check", checkOf(files.canvas)},
          {"shape", toJson(model.shape.mean())},
          {"modes", modes},
          {"deviations", model.shape.deviations()},
          {"size", model.size},
          {"usual_pose", {pose.xx, pose.xy, pose.x0, pose.yx, pose.yy, pose.y0}},
          {"leeway", model.leeway},
          {"patches", patchesOf(model)},
          {"patches_check", checkOf(files.looks)},
          {"fine_agreement", usual[kFine]},
          {"coarse_agreement", usual[kCoarse]},
          {"confidence", toJson(model.tracked)},
          {"confidence_hidden", toJson(model.hidden)}};
}

// With the contrast that a row can hold; reading normalises it.
void appendRow(const Patch& patch, std::vector<float>& rows) {
  float largest = 1e-6F;
  for (const float value : patch) largest = std::max(largest, std::abs(value));
  for (const float value : patch) rows.push_back(128.0F + 127.0F * (value / largest));
}

void readLooks(Object& object, const std::string& folder, std::size_t points,
               FollowingModel& model) {
  std::vector<std::size_t> patches;
  std::size_t total = 0;
  for (const double count : object.reals("patches", points, points)) {
    if (!(count >= 1.0 && count <= kMostPatches && count == std::trunc(count))) {
      throw Error("\"patches\" are not numbers of patches");
    }
    patches.push_back(static_cast<std::size_t>(count));
    total += patches.back();
  }
  const std::string check = object.text("patches_check");
  const std::vector<float> grey = readPgm(looksFile(folder), kPatchSize, kLevels * total, check);
  const char* const keys[kLevels] = {"fine_agreement", "coarse_agreement"};
  const float* next = grey.data();
  for (int l = 0; l < kLevels; ++l) {
    for (const double usual : object.reals(keys[l], points, points)) {
      Look look;
      look.usual = std::clamp(usual, 0.01, 1.0);
      for (std::size_t i = 0; i < patches[model.looks[l].size()]; ++i, next += kPatchSize) {
        look.patches.emplace_back(next, next + kPatchSize);
        normalise(look.patches.back());
      }
      model.looks[l].push_back(std::move(look));
    }
  }
}

FollowingModel readFollowing(const Json& json, const std::string& folder, std::size_t points) {
  Object object(json, "its canvas");
  FollowingModel model;
  model.levels[kFine] = readLevel(object.at("fine"), "the fine canvas");
  model.levels[kCoarse] = readLevel(object.at("coarse"), "the coarse canvas");
  const Level& fine = model.levels[kFine];
  model.mean = readPgm(canvasFile(folder), static_cast<std::size_t>(fine.width),
                       static_cast<std::size_t>(fine.height), object.text("picture_check"));
  const Shape mean = object.shape("shape", points);
  const std::vector<double> deviations = object.reals("deviations", 0, 18);
  std::vector<Shape> modes;
  for (const Json& mode : object.list("modes", deviations.size(), deviations.size())) {
    modes.push_back(Object(Json{{"mode", mode}}, "a mode of its shape").shape("mode", points));
  }
  for (const double deviation : deviations) {
    if (!(deviation > 0.0)) throw Error("a deviation of its shape is not positive");
  }
  model.shape = ShapeModel(mean, modes, deviations);
  model.size = object.real("size", 1.0, kLargest);
  const std::vector<double> pose = object.reals("usual_pose", 6, 6);
  model.usual = {pose[0], pose[1], pose[2], pose[3], pose[4], pose[5]};
  if (!(std::abs(model.usual.determinant()) > 1e-9)) throw Error("its usual pose is none");
  model.leeway = object.reals("leeway", points, points);
  readLooks(object, folder, points, model);
  model.tracked = readCalibration(object, "confidence");
  model.hidden = readCalibration(object, "confidence_hidden");
  object.done();
  completeRegions(model);
  return model;
}

// ------------------------------------------------------------------------------------ the training

Json toJson(const Limits& limits) { return {limits.least, limits.most}; }

Limits readLimits(Object& object, const char* key) {
  const std::vector<double> values = object.reals(key, 2, 2);
  if (values[0] > values[1]) throw Error(std::string("\"") + key + "\" are no limits");
  return {values[0], values[1]};
}

FrameKind readFrames(const Json& json) {
  Object object(json, "its frames");
  FrameKind frames{readLimits(object, "width"), readLimits(object, "height"),
                   readLimits(object, "white")};
  object.done();
  return frames;
}

Json toJson(const Review& review) {
  Json odd = Json::array();
  for (const Disagreement& one : review.disagreements) {
    if (odd.size() == kMostLines) break;
    odd.push_back({{"frame", one.frame},
                   {"point", one.point},
                   {"distance", one.distance},
                   {"place", toJson(Shape{one.place})}});
  }
  std::vector<std::string> warnings = review.warnings;
  if (warnings.size() > kMostLines) warnings.resize(kMostLines);
  return {{"residuals", review.residuals},
          {"hard", review.hard},
          {"disagreements", odd},
          {"warnings", warnings}};
}

std::size_t readPoint(double value, std::size_t points) {
  if (value >= 0.0 && value < static_cast<double>(points) && value == std::trunc(value)) {
    return static_cast<std::size_t>(value);
  }
  throw Error("its review names a point that is not there");
}

Review readReview(const Json& json, std::size_t points) {
  Object object(json, "its review");
  Review review;
  review.residuals = object.reals("residuals", 0, points);
  if (!review.residuals.empty() && review.residuals.size() != points) {
    throw Error("its review has not a residual for every point");
  }
  for (const double point : object.reals("hard", 0, review.residuals.size())) {
    review.hard.push_back(readPoint(point, points));
  }
  for (const Json& entry : object.list("disagreements", 0, kMostLines)) {
    Object odd(entry, "an annotation that disagrees");
    Disagreement one{odd.text("frame"), readPoint(odd.real("point", 0.0, kLargest), points),
                     odd.real("distance", 0.0, kLargest), odd.shape("place", 1)[0]};
    odd.done();
    review.disagreements.push_back(std::move(one));
  }
  for (const Json& warning : object.list("warnings", 0, kMostLines)) {
    if (!warning.is_string()) throw Error("a warning of its review is no text");
    review.warnings.push_back(warning.get<std::string>());
  }
  object.done();
  return review;
}

// ------------------------------------------------------------------------------------ the file

int levelOf(float radius, int version) {
  return radius >= (version < kFollowingVersion ? kOldCoarseRadius : kCoarseRadius) ? kCoarse
                                                                                    : kFine;
}

Stage readStage(const Json& json) {
  Object object(json, "a stage");
  Stage stage;
  stage.radius = static_cast<float>(object.real("radius", 0.0, 1e6));
  stage.steps = object.whole("steps", 1, kMostSteps);
  if (object.has("check")) stage.check = object.text("check");
  object.done();
  return stage;
}

std::vector<std::string> readNames(Object& object) {
  std::vector<std::string> names;
  for (const Json& name : object.list("points", 1, kMostPoints)) {
    if (!name.is_string() || !isPointName(name.get<std::string>())) {
      throw Error("a name of a point is none");
    }
    names.push_back(name.get<std::string>());
  }
  return names;
}

ModelDescription fromJson(const Json& json, const std::string& folder) {
  Object object(json, "it");
  if (!json.contains("format") || object.at("format") != kFormat) throw Error("it is not a model");
  const int version = object.whole("version", 0, kLargest);
  if (version < kEarlierPlainVersion || version > kFollowingVersion) {
    throw Error(format("its version is %d, known are %d to %d", version, kEarlierPlainVersion,
                       kFollowingVersion));
  }
  ModelDescription model;
  for (const Json& stage : object.list("stages", 1, kMostStages)) {
    model.stages.push_back(readStage(stage));
    model.stages.back().level = levelOf(model.stages.back().radius, version);
  }
  model.scale = static_cast<float>(object.real("scale", 0.01, 100.0));
  model.seed = object.whole<unsigned>("seed", 0, std::numeric_limits<unsigned>::max());
  model.predictors = object.whole("predictors", 0, kLargest);
  model.generations = object.whole("generations", 0, kLargest);
  model.training_frames = object.whole("training frames", 0, kLargest);
  model.point_names = readNames(object);
  if (version > kEarliestFollowingVersion) {
    if (object.has("frames")) model.frames = readFrames(object.at("frames"));
    model.review = readReview(object.at("review"), model.point_names.size());
  }
  if (version != kPlainVersion && version != kEarlierPlainVersion) {
    if (!isOfCheck(object.at("canvas").dump(), object.text("canvas_check"))) {
      throw Error("\"canvas\" has changed since it was written");
    }
    model.following = readFollowing(object.at("canvas"), folder, model.point_names.size());
  } else {
    object.real("blur", kBlurSigma, kBlurSigma);
  }
  if (object.has("plan")) model.mark = object.text("plan");
  object.done();
  return model;
}

}  // namespace

std::string describe(const FrameKind& frames) {
  const auto span = [](const Limits& limits) {
    const std::string least = format("%.6g", limits.least);
    return limits.most > limits.least ? least + format("-%.6g", limits.most) : least;
  };
  return span(frames.width) + " x " + span(frames.height) + " px, 0 is black and " +
         span(frames.white) + " white";
}

int levelOfRadius(float radius) { return levelOf(radius, kFollowingVersion); }

std::string modelFile(const std::string& folder) { return folder + "/model.json"; }
std::string bunchFile(const std::string& folder, std::size_t stage, int coordinate) {
  return format("%s/stage%zu.%c.lpb", folder.c_str(), stage, coordinate == 0 ? 'x' : 'y');
}
std::string flatFile(const std::string& folder, std::size_t stage) {
  return format("%s/stage%zu.flp", folder.c_str(), stage);
}
std::string canvasFile(const std::string& folder) { return folder + "/canvas.pgm"; }
std::string looksFile(const std::string& folder) { return folder + "/looks.pgm"; }

std::string checkOf(const std::string& content) { return "w" + hashOfWords(content).digits(); }

bool isOfCheck(const std::string& content, const std::string& check) {
  const bool is_earlier = check.empty() || check.front() != 'w';
  return check == (is_earlier ? Hash().text(content).digits() : checkOf(content));
}

std::string readMark(const std::string& folder) {
  const Json json = Json::parse(readFile(modelFile(folder), kMostModelBytes), nullptr, false);
  const auto mark = json.is_object() ? json.find("plan") : json.end();
  return mark != json.end() && mark->is_string() ? mark->get<std::string>() : "";
}

ModelDescription readDescription(const std::string& folder) {
  const std::string file = modelFile(folder);
  const std::string content = readFile(file, kMostModelBytes);
  try {
    return fromJson(parseJson<Json>(content), folder);
  } catch (const PictureError&) {
    throw;
  } catch (const Error& error) {
    throw Error("model file " + file + " is not valid: " + error.what());
  } catch (const Json::exception&) {
    throw Error("model file " + file + " is not valid: it holds what no model file does");
  }
}

DescriptionFiles formatDescription(const ModelDescription& model) {
  DescriptionFiles files;
  Json stages = Json::array();
  for (const Stage& stage : model.stages) {
    stages.push_back({{"radius", stage.radius}, {"steps", stage.steps}});
    if (!stage.check.empty()) stages.back()["check"] = stage.check;
  }
  Json json = {{"format", kFormat},
               {"version", model.following ? kFollowingVersion : kPlainVersion},
               {"stages", stages},
               {"scale", model.scale},
               {"seed", model.seed},
               {"predictors", model.predictors},
               {"generations", model.generations},
               {"training frames", model.training_frames},
               {"points", model.point_names}};
  if (model.frames) {
    json["frames"] = {{"width", toJson(model.frames->width)},
                      {"height", toJson(model.frames->height)},
                      {"white", toJson(model.frames->white)}};
  }
  json["review"] = toJson(model.review);
  if (model.following) {
    const FollowingModel& following = *model.following;
    const Level& fine = following.levels[kFine];
    files.canvas = formatPgm(static_cast<std::size_t>(fine.width),
                             static_cast<std::size_t>(fine.height), following.mean);
    std::vector<float> rows;
    for (const auto& level : following.looks) {
      for (const Look& look : level) {
        for (const Patch& patch : look.patches) appendRow(patch, rows);
      }
    }
    files.looks = formatPgm(kPatchSize, rows.size() / kPatchSize, rows);
    json["canvas"] = toJson(following, files);
    json["canvas_check"] = checkOf(json["canvas"].dump());
  } else {
    json["blur"] = kBlurSigma;
  }
  if (!model.mark.empty()) json["plan"] = model.mark;
  // Names of files need not be UTF-8, in which JSON is written.
  files.json = json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
  return files;
}

}  // namespace remora
