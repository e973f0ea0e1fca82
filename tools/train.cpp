// remora train: annotated frames become a model.

#include "train.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <set>
#include <sstream>
#include <utility>

#include "common/canvas.h"
#include "common/failure.h"
#include "common/files.h"
#include "common/frames.h"
#include "common/interruptions.h"
#include "common/model.h"
#include "common/progress.h"
#include "common/streams.h"
#include "common/text.h"
#include "common/training.h"
#include "shape_lp_track.h"
#include "verbs.h"

namespace remora::tools {
namespace {

constexpr int kMostPredictors = 1000000;
constexpr float kLargestRadius = 1e6F;  // and radius factor

// A sequence whose positions are known: shape k belongs to frame start + k.
struct AnnotatedSequence {
  std::string base;
  int start;
  std::string shape_file;
  std::vector<Shape> shapes;

  long last() const { return start + static_cast<long>(shapes.size()) - 1; }
};

// FIRST-LAST/STEP, or all frames there are shapes for.
struct FrameChoice {
  bool all = true;
  long first = 0;
  long last = 0;
  int step = 1;
};

FrameChoice parseChoice(const std::string& text) {
  if (text.empty()) return {};
  const auto bad = [&text] { return Misuse("frames " + text + ": not FIRST-LAST/STEP"); };
  const std::vector<std::string> halves = split(text, '/');
  const std::vector<std::string> ends = split(halves[0], '-');
  if (halves.size() > 2 || ends.size() != 2) throw bad();
  const auto first = toNumber<int>(ends[0]);
  const auto last = toNumber<int>(ends[1]);
  const auto step = halves.size() == 2 ? toNumber<int>(halves[1]) : 1;
  if (!first || !last || !step || *first < 0 || *last < *first || *step < 1) throw bad();
  return {false, *first, *last, *step};
}

AnnotatedSequence parseSequence(const std::string& text) {
  const std::vector<std::string> parts = split(text, ':');
  const auto start = parts.size() == 3 ? toNumber<int>(parts[1]) : std::nullopt;
  if (!start) throw Misuse("sequence " + text + " is not BASE:START:SHAPEFILE");
  return {parts[0], *start, parts[2], readShapes(parts[2])};
}

void checkStart(const std::string& file, int number, const std::string& line) {
  const std::vector<std::string> found = words(line);
  if (found.size() == 1 && toNumber<int>(found[0])) return;
  throw Failure(format("configuration file %s, line %d: the number of the first frame is expected",
                       file.c_str(), number));
}

// What the library would not notice, or would end the process for: it drops the last character of a
// name line whatever it is, and wants every shape file to be there.
void checkConfiguration(const std::string& file) {
  std::istringstream in(readFile(file));
  std::string line;
  std::getline(in, line);
  const int last = 1 + 3 * std::atoi(line.c_str());
  for (int number = 2; number <= last && std::getline(in, line); ++number) {
    const bool is_start = number % 3 == 0;
    if (is_start) checkStart(file, number, line);
    if (is_start || line.empty()) continue;
    if (line.back() != '\r') {
      throw Failure(
          format("configuration file %s, line %d: the line does not end in CR LF, so the "
                 "name would lose its last character",
                 file.c_str(), number));
    }
    line.pop_back();
    const bool is_shape_file = number % 3 == 1;
    if (is_shape_file && !line.empty()) requireReadable(line);
  }
}

std::vector<AnnotatedSequence> readConfiguration(const std::string& file) {
  checkConfiguration(file);
  takeMessages();
  std::unique_ptr<SLT_Cfg> config;
  const ExplainedExit exit;  // where a shape file has vanished since
  try {
    config = std::make_unique<SLT_Cfg>(file.c_str(), 1.0F);
  } catch (const CImgException& error) {
    throw Failure("configuration file " + file +
                  ": its first frame cannot be read: " + error.what());
  }
  const std::string message = lastMessage();
  if (config->num_seqs == 0 || !message.empty()) {
    throw Failure(message.empty() ? file + ": there is nothing to train on" : message);
  }
  std::vector<AnnotatedSequence> sequences;
  for (int s = 0; s < config->num_seqs; ++s) {
    const ImgFnames& frames = *config->img_fnames[s];
    sequences.push_back({frames.m_base_fname, frames.m_orig_start, file, {}});
    for (int i = 0; i < config->all_num_shapes[s]; ++i) {
      sequences.back().shapes.push_back(toShape(config->all_fp_pos[s][i]));
    }
  }
  return sequences;
}

void addExamples(const AnnotatedSequence& sequence, FrameChoice choice, float scale,
                 std::vector<Example>& examples) {
  if (choice.all) choice = {false, sequence.start, sequence.last(), 1};
  if (choice.first < sequence.start || choice.last > sequence.last()) {
    throw Failure(format("%s has shapes for frames %d to %ld, asked for are %ld to %ld",
                         sequence.shape_file.c_str(), sequence.start, sequence.last(), choice.first,
                         choice.last));
  }
  for (long frame = choice.first; frame <= choice.last; frame += choice.step) {
    const std::string file = frameFile(sequence.base, static_cast<int>(frame));
    CImg<float> image = toGrey(loadFrame(file));
    const Canvas canvas(image.width(), image.height(), scale);
    const auto shape = static_cast<std::size_t>(frame - sequence.start);
    examples.push_back({file, sequence.shapes[shape], canvas, canvas.prepare(std::move(image))});
  }
}

PointOptions parsePoint(const std::string& line, int predictors, const std::string& place) {
  const std::vector<std::string> fields = words(line);
  const auto bad = [&](const std::string& why) { return Failure(place + ": " + why); };
  PointOptions point;
  point.name = fields[0];
  point.predictors = predictors;
  if (!isPointName(point.name)) throw bad("a name is UTF-8 text without , or \"");
  if (fields.size() > 4) throw bad("more than name, predictors, placement and radius factor");
  const auto field = [&](std::size_t index, auto& value, const char* what) {
    if (index >= fields.size()) return;
    const auto number = toNumber<std::decay_t<decltype(value)>>(fields[index]);
    if (!number) throw bad(std::string(what) + " " + fields[index] + " is not a number");
    value = *number;
  };
  field(1, point.predictors, "predictor count");
  field(2, point.placement, "placement");
  field(3, point.radius_factor, "radius factor");
  if (point.predictors < 1 || point.predictors > kMostPredictors) {
    throw bad(format("a point has 1 to %d predictors", kMostPredictors));
  }
  if (point.placement < -1 || point.placement > 1) throw bad("placement is 0, 1 or -1");
  if (!(point.radius_factor > 0.0F && point.radius_factor <= kLargestRadius)) {
    throw bad("the radius factor is a positive number, at most a million");
  }
  return point;
}

std::vector<PointOptions> readPoints(const std::string& file, int predictors) {
  std::vector<PointOptions> points;
  std::set<std::string> names;
  std::istringstream in(readFile(file));
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    if (words(line).empty() || words(line)[0][0] == '#') continue;
    const std::string place = format("%s, line %d", file.c_str(), number);
    PointOptions point = parsePoint(line, predictors, place);
    if (!names.insert(point.name).second) {
      throw Failure(place + ": there is a point " + point.name + " already");
    }
    points.push_back(std::move(point));
  }
  return points;
}

std::vector<PointOptions> plainPoints(std::size_t count, int predictors) {
  std::vector<PointOptions> points(count);
  for (std::size_t i = 0; i < count; ++i) {
    points[i].name = std::to_string(i);
    points[i].predictors = predictors;
  }
  return points;
}

std::vector<Stage> parseStages(const std::string& text) {
  std::vector<Stage> stages;
  for (const std::string& piece : split(text, ',')) {
    const auto radius = toNumber<float>(piece);
    if (!radius || !(*radius > 0.0F && *radius <= kLargestRadius))
      throw Misuse("stages " + text + ": not a list of radii");
    if (!stages.empty() && *radius > stages.back().radius) {
      throw Misuse("stages " + text + ": radii go from coarse to fine");
    }
    stages.push_back({*radius, defaultSteps(stages.size()), {}});
  }
  return stages;
}

std::vector<AnnotatedSequence> readSequences(const TrainRequest& request) {
  std::vector<AnnotatedSequence> sequences;
  if (!request.config.empty()) sequences = readConfiguration(request.config);
  for (const std::string& text : request.sequences) sequences.push_back(parseSequence(text));
  for (const AnnotatedSequence& sequence : sequences) {
    if (sequence.shapes.empty() || sequence.shapes[0].empty()) {
      throw Failure(sequence.shape_file + ": a sequence has no positions");
    }
    if (sequence.last() > std::numeric_limits<int>::max()) {
      throw Failure(format("%s has shapes for frames %d to %ld: there are no such numbers",
                           sequence.shape_file.c_str(), sequence.start, sequence.last()));
    }
    requireNumbers(sequence.shapes, sequence.shape_file);
    const std::size_t wanted = sequences[0].shapes[0].size();
    for (std::size_t i = 0; i < sequence.shapes.size(); ++i) {
      if (sequence.shapes[i].size() == wanted) continue;
      throw Failure(format("%s: shape %zu has %zu points, the first shape has %zu",
                           sequence.shape_file.c_str(), i, sequence.shapes[i].size(), wanted));
    }
  }
  return sequences;
}

TrainingPlan makePlan(const TrainRequest& request) {
  const FrameChoice choice = parseChoice(request.frames);
  TrainingPlan plan;
  plan.stages = parseStages(request.stages);
  plan.generations = request.generations;
  plan.scale = request.scale;
  plan.seed = request.seed;
  plan.predictors = request.predictors;
  const std::vector<AnnotatedSequence> sequences = readSequences(request);
  const std::size_t count = sequences[0].shapes[0].size();
  plan.points = request.points.empty() ? plainPoints(count, request.predictors)
                                       : readPoints(request.points, request.predictors);
  if (plan.points.size() != count) {
    throw Failure(format("%s names %zu points, the shapes have %zu", request.points.c_str(),
                         plan.points.size(), count));
  }
  for (const AnnotatedSequence& sequence : sequences) {
    addExamples(sequence, choice, request.scale, plan.examples);
  }
  return plan;
}

// Whether the folder holds the finished model already. Fails when it is another one.
bool isThere(const TrainingPlan& plan, const std::string& folder) {
  switch (findModel(plan, folder)) {
    case FinishedModel::kNone:
      return false;
    case FinishedModel::kOfThisPlan:
      std::fprintf(stderr, "remora: %s holds the finished model of this training already\n",
                   folder.c_str());
      return true;
    case FinishedModel::kOther:
      break;
  }
  throw Failure(folder + " holds a finished model of another training; --force replaces it");
}

void trainModel(const TrainingPlan& plan, const std::string& folder) {
  const NotedInterruption interruption;
  Training training(plan, folder);
  const auto total = static_cast<long>(training.numUnits());
  {
    Progress progress("training", "units", total);
    progress.skip(total - static_cast<long>(training.numMissing()));
    while (training.numMissing() > 0) {
      training.trainNext();
      progress.advance();
      if (interruption.signal() == 0) continue;
      throw Interruption(format("interrupted with %zu of %ld units left: the same command goes on "
                                "from there",
                                training.numMissing(), total),
                         interruption.signal());
    }
  }
  training.finish();
  if (interruption.signal() != 0) {
    throw Interruption("interrupted when the model was finished", interruption.signal());
  }
}

}  // namespace

void train(const TrainRequest& request) {
  const TrainingPlan plan = makePlan(request);
  for (const std::string& warning : checkPlan(plan)) {
    std::fprintf(stderr, "remora: warning: %s\n", warning.c_str());
  }
  if (!request.force && isThere(plan, request.model)) return;
  trainModel(plan, request.model);
}

void addTrain(CLI::App& app) {
  auto request = std::make_shared<TrainRequest>();
  CLI::App* const verb =
      app.add_subcommand("train", "Train a model on frames with known positions");
  auto* const config =
      verb->add_option("--config", request->config, "Training configuration file (CR LF lines)");
  verb->add_option("--sequence", request->sequences,
                   "Frames and their shapes, BASE:START:SHAPEFILE; may be repeated")
      ->excludes(config);
  verb->add_option("-o,--output", request->model, "Folder of the model")->required();
  verb->add_option("--frames", request->frames,
                   "Train on frames FIRST-LAST/STEP, numbered as in their names (default: all)");
  verb->add_option("--stages", request->stages, "Radii from coarse to fine, in pixels")
      ->capture_default_str();
  verb->add_option("--predictors", request->predictors, "Predictors per point")
      ->capture_default_str()
      ->check(CLI::Range(1, kMostPredictors));
  verb->add_option("--generations", request->generations, "Generations of evolution")
      ->capture_default_str()
      ->check(CLI::Range(1, 1000000));
  verb->add_option("--scale", request->scale, "Work on frames of this scale")
      ->capture_default_str()
      ->check(CLI::Range(kSmallestScale, kLargestScale));
  verb->add_option("--seed", request->seed, "Seed of all random draws")->capture_default_str();
  verb->add_option("--points", request->points,
                   "File with a line per point: name [predictors [placement 0, 1 or -1 [radius "
                   "factor]]]");
  verb->add_flag("--force", request->force, "Replace a finished model of another training");
  verb->callback([request] {
    if (request->config.empty() && request->sequences.empty()) {
      throw CLI::RequiredError("--config or --sequence");
    }
    if (std::isnan(request->scale)) throw CLI::ValidationError("--scale", "it is not a number");
    separateMessages();
    train(*request);
  });
}

}  // namespace remora::tools
