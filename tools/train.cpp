// remora train: annotated frames become a model.

#include "train.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <utility>

#include "follow/canvas/scaled_frame.h"
#include "common/configuration.h"
#include "common/failure.h"
#include "follow/base/files.h"
#include "common/frames.h"
#include "follow/base/interruptions.h"
#include "common/model.h"
#include "common/progress.h"
#include "common/streams.h"
#include "follow/base/text.h"
#include "common/training.h"
#include "options.h"
#include "verbs.h"

namespace remora::tools {
namespace {

struct KnownSequence : AnnotatedSequence {
  std::vector<Shape> shapes;

  long last() const { return start + static_cast<long>(shapes.size()) - 1; }
};

void addExamples(const KnownSequence& sequence, const FrameChoice& choice, float scale,
                 std::vector<Example>& examples) {
  for (const FrameRange& range : choice) {
    if (range.first >= sequence.start && range.last <= sequence.last()) continue;
    throw Failure(format("%s has shapes for frames %d to %ld, asked for are %d to %d",
                         sequence.shape_file.c_str(), sequence.start, sequence.last(), range.first,
                         range.last));
  }
  for (std::size_t shape = 0; shape < sequence.shapes.size(); ++shape) {
    const int frame = sequence.start + static_cast<int>(shape);
    if (!isChosen(choice, frame)) continue;
    const std::string file = existingFrameFile(sequence.base, frame);
    CImg<float> image = toGrey(loadFrame(file));
    const ScaledFrame canvas(image.width(), image.height(), scale);
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
  std::istringstream in(readText(file));
  int number = 1;
  for (auto line = nextLine(in); line; line = nextLine(in), ++number) {
    if (words(*line).empty() || words(*line)[0][0] == '#') continue;
    const std::string place = format("%s, line %d", file.c_str(), number);
    PointOptions point = parsePoint(*line, predictors, place);
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

// Fails unless all shapes have so many points, frame numbers and finite positions.
void checkShapes(const KnownSequence& sequence, std::size_t points) {
  requireFrameNumbers(sequence.start, sequence.shapes.size(), sequence.shape_file);
  requireNumbers(sequence.shapes, sequence.shape_file);
  if (sequence.shapes[0].size() == points) return;
  throw Failure(format("%s: shapes have %zu points, those of the first sequence have %zu",
                       sequence.shape_file.c_str(), sequence.shapes[0].size(), points));
}

std::vector<KnownSequence> readSequences(const TrainRequest& request) {
  std::vector<AnnotatedSequence> named = request.sequences;
  if (!request.config.empty()) named = readConfiguration(request.config);
  std::vector<KnownSequence> sequences;
  for (const AnnotatedSequence& sequence : named) {
    sequences.push_back({sequence, readShapes(sequence.shape_file)});
    checkShapes(sequences.back(), sequences[0].shapes[0].size());
  }
  return sequences;
}

std::vector<Stage> stagesOf(const std::vector<float>& radii) {
  std::vector<Stage> stages;
  for (const float radius : radii) stages.push_back({radius, defaultSteps(stages.size()), {}});
  return stages;
}

TrainingPlan makePlan(const TrainRequest& request) {
  TrainingPlan plan;
  plan.stages = stagesOf(request.radii);
  plan.generations = request.generations;
  plan.scale = request.scale;
  plan.seed = request.seed;
  plan.predictors = request.predictors;
  const std::vector<KnownSequence> sequences = readSequences(request);
  const std::size_t count = sequences[0].shapes[0].size();
  plan.points = request.points.empty() ? plainPoints(count, request.predictors)
                                       : readPoints(request.points, request.predictors);
  if (plan.points.size() != count) {
    throw Failure(format("%s names %zu points, the shapes have %zu", request.points.c_str(),
                         plan.points.size(), count));
  }
  for (const KnownSequence& sequence : sequences) {
    addExamples(sequence, request.frames, request.scale, plan.examples);
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

// A range whose limits are shown in the help.
template <class Number>
CLI::Range between(Number least, Number most) {
  std::ostringstream limits;
  limits << least << " ... " << most;
  return {least, most, limits.str()};
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
  struct Options {
    TrainRequest request;
    std::vector<std::string> sequences;
    std::string frames;
    std::string stages = "30,15,8";
  };
  auto options = std::make_shared<Options>();
  TrainRequest& request = options->request;
  CLI::App* const verb =
      app.add_subcommand("train", "Train a model on frames with known positions");
  auto* const config = verb->add_option("--config", request.config,
                                        "Training configuration file: sequences and their shapes")
                           ->type_name("FILE");
  verb->add_option("--sequence", options->sequences, "Frames and their shapes; may be repeated")
      ->type_name("BASE:START:SHAPEFILE")
      ->excludes(config);
  verb->add_option("-o,--output", request.model, "Folder of the model")
      ->required()
      ->type_name("FOLDER");
  verb->add_option("--frames", options->frames,
                   "Train on frames of these numbers, as 8 or 0-149/10,200-299 (default: all)")
      ->type_name("FIRST-LAST/STEP,...");
  verb->add_option("--stages", options->stages, "Radii from coarse to fine, in pixels")
      ->capture_default_str()
      ->type_name("RADIUS,...");
  verb->add_option("--predictors", request.predictors, "Predictors per point")
      ->capture_default_str()
      ->check(between(1, kMostPredictors))
      ->type_name("COUNT");
  verb->add_option("--generations", request.generations, "Generations of evolution")
      ->capture_default_str()
      ->check(between(1, kMostGenerations))
      ->type_name("COUNT");
  verb->add_option("--scale", request.scale, "Work on frames of this scale")
      ->capture_default_str()
      ->check(between(kSmallestScale, kLargestScale))
      ->type_name("FACTOR");
  verb->add_option("--seed", request.seed, "Seed of all random draws")
      ->capture_default_str()
      ->type_name("NUMBER");
  verb->add_option("--points", request.points,
                   "File with a line per point: name [predictors [placement 0, 1 or -1 [radius "
                   "factor]]]")
      ->type_name("FILE");
  verb->add_flag("--force", request.force, "Replace a finished model of another training");
  verb->callback([options] {
    TrainRequest& asked = options->request;
    if (asked.config.empty() && options->sequences.empty()) {
      throw CLI::RequiredError("--config or --sequence");
    }
    if (std::isnan(asked.scale)) throw CLI::ValidationError("--scale", "it is not a number");
    for (const std::string& text : options->sequences) {
      asked.sequences.push_back(parseAnnotatedSequence(text));
    }
    asked.frames = parseFrameChoice(options->frames);
    asked.radii = parseRadii(options->stages);
    separateMessages();
    train(asked);
  });
}

}  // namespace remora::tools
