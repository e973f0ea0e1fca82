// remora train: annotated frames become a model.

#include "train.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "follow/annotation/configuration.h"
#include "follow/annotation/point_names.h"
#include "follow/annotation/recording.h"
#include "follow/base/files.h"
#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/base/workers.h"
#include "follow/training/forecast.h"
#include "options.h"
#include "output.h"
#include "progress.h"
#include "ranges.h"
#include "verbs.h"

namespace remora::tools {
namespace {

constexpr double kMegabyte = 1048576.0;
constexpr std::uint64_t kPictures = std::uint64_t{1} << 30;  // bytes in memory, without a limit
constexpr std::uint64_t kShareOfPictures = 4;                // of a limit is for them

PointOptions parsePoint(const std::string& line, const std::string& place) {
  const std::vector<std::string> fields = words(line);
  const auto bad = [&](const std::string& why) { return Error(place + ": " + why); };
  PointOptions point;
  point.name = fields[0];
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
  const bool counted = fields.size() > 1;
  if (counted && (point.predictors < 1 || point.predictors > kMostPredictors)) {
    throw bad(format("a point has 1 to %d predictors", kMostPredictors));
  }
  if (point.placement < -1 || point.placement > 1) throw bad("placement is 0, 1 or -1");
  if (!(point.radius_factor > 0.0F && point.radius_factor <= kLargestRadius)) {
    throw bad("the radius factor is a positive number, at most a million");
  }
  return point;
}

std::vector<PointOptions> readPoints(const std::string& file) {
  std::vector<PointOptions> points;
  std::set<std::string> names;
  std::istringstream in(readText(file));
  int number = 1;
  for (auto line = nextLine(in); line; line = nextLine(in), ++number) {
    if (words(*line).empty() || words(*line)[0][0] == '#') continue;
    const std::string place = format("%s, line %d", file.c_str(), number);
    PointOptions point = parsePoint(*line, place);
    if (!names.insert(point.name).second) {
      throw Error(place + ": there is a point " + point.name + " already");
    }
    points.push_back(std::move(point));
  }
  return points;
}

// All with the points of the first one.
std::vector<Recording> readRecordings(const TrainRequest& request) {
  std::vector<AnnotatedSequence> named = request.sequences;
  if (!request.config.empty()) named = readConfiguration(request.config);
  for (const std::string& table : request.annotations) named.push_back({"", 0, table});
  std::vector<Recording> recordings;
  for (const AnnotatedSequence& sequence : named) {
    recordings.push_back(readRecording(sequence));
    takeNames(recordings[0].annotations.names, sequence.shape_file, recordings.back().annotations);
  }
  return recordings;
}

std::vector<Example> loadAll(const TrainRequest& request,
                             const std::vector<Recording>& recordings) {
  std::vector<Example> examples;
  ExampleStore store(request.max_memory > 0 ? request.max_memory / kShareOfPictures : kPictures);
  for (const Recording& recording : recordings) {
    const std::vector<AnnotatedFrame> frames = chosenFrames(recording, request.frames);
    for (Example& example : loadExamples(recording, frames, &store)) {
      examples.push_back(std::move(example));
    }
  }
  return examples;
}

TrainingOptions optionsOf(const TrainRequest& request, const std::vector<std::string>& names) {
  const std::size_t points = names.size();
  TrainingOptions options = request.options;
  for (const std::string& name : names) options.points.push_back({name});
  if (!request.points.empty()) options.points = readPoints(request.points);
  if (!request.points.empty() && options.points.size() != points) {
    throw Error(format("%s names %zu points, the shapes have %zu", request.points.c_str(),
                       options.points.size(), points));
  }
  return options;
}

// Shows how far a training is, and ends it at an interruption.
class Watch {
 public:
  bool operator()(std::size_t done, std::size_t total) {
    if (!progress_) {
      progress_.emplace("training", "units", static_cast<long>(total));
      progress_->skip(static_cast<long>(done));
    } else {
      for (; done_ < done; ++done_) progress_->advance();
    }
    done_ = done;
    if (interruption_.signal() == 0 || done == total) return true;
    progress_.reset();
    throw Interruption(format("interrupted with %zu of %zu units left: the same command goes on "
                              "from there",
                              total - done, total),
                       interruption_.signal());
  }

  void stopShowing() { progress_.reset(); }

  void end() {
    if (interruption_.signal() != 0) {
      throw Interruption("interrupted when the model was finished", interruption_.signal());
    }
  }

 private:
  NotedInterruption interruption_;
  std::optional<Progress> progress_;
  std::size_t done_ = 0;
};

// What training or joining needs.
struct Material {
  explicit Material(const TrainRequest& request) {
    const std::vector<Recording> recordings = readRecordings(request);
    options = optionsOf(request, recordings[0].annotations.names);
    examples = loadAll(request, recordings);
  }

  TrainingOptions options;
  std::vector<Example> examples;
};

Forecast forecastOf(const Material& material) {
  const double reading = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
  Forecast expected = forecast(material.examples, material.options);
  expected.before += reading;
  return expected;
}

constexpr double kMargin = 1.25;  // of a forecast of memory

// As many jobs as have room.
void keepWithin(std::uint64_t bytes, Material& material) {
  const Forecast expected = forecastOf(material);
  const double most = static_cast<double>(bytes) / kMargin;
  int& jobs = material.options.jobs;
  const int asked = jobs;
  while (jobs > 1 && expected.bytes(jobs) > most) --jobs;
  if (expected.bytes(jobs) > most) {
    throw Error(format("one process alone needs up to %.0f MB, --max-memory grants %.0f MB",
                       kMargin * expected.bytes(jobs) / kMegabyte,
                       static_cast<double>(bytes) / kMegabyte));
  }
  if (jobs < asked) say(format("%d of %d jobs have room in memory", jobs, asked));
}

TrainingResult trained(const TrainRequest& request, const Material& material, Watch& watch) {
  const auto& [options, examples] = material;
  if (request.units.empty()) {
    return remora::train(examples, options, request.model, std::ref(watch));
  }
  const std::vector<std::size_t> units =
      chosenUnits(request.units, unitCount(examples, options), "this training");
  return trainUnits(examples, options, request.model, units, std::ref(watch),
                    request.help ? Others::kHelped : Others::kLeft);
}

enum class Outcome { kModel, kUnits };

// Does what it is given, and says how it went.
template <class Work>
void report(const TrainRequest& request, const Material& material, Outcome outcome,
            const Work& work) {
  TrainingResult result;
  try {
    result = work();
  } catch (const HoldsOtherModel& error) {
    throw Error(std::string(error.what()) + "; --force replaces it");
  }
  if (result.was_there) {
    say(request.model + " holds the finished model of this training already");
    return;
  }
  if (outcome == Outcome::kModel) {
    std::vector<std::string> names;
    for (const PointOptions& point : material.options.points) names.push_back(point.name);
    say(format("learned %zu points from %zu frames", names.size(), material.examples.size()));
    for (const std::string& line : describe(result.review, names)) say(line);
  }
  for (const std::string& line : result.repeated) say("warning: " + line);
}

}  // namespace

void train(const TrainRequest& request) {
  Material material(request);
  if (request.max_memory > 0) keepWithin(request.max_memory, material);
  Watch watch;
  const Outcome outcome = request.units.empty() ? Outcome::kModel : Outcome::kUnits;
  report(request, material, outcome, [&] {
    TrainingResult result = trained(request, material, watch);
    watch.stopShowing();  // what is said next starts its own line
    return result;
  });
  watch.end();
}

void forecastTraining(const TrainRequest& request) {
  const Material material(request);
  const Forecast expected = forecastOf(material);
  const int jobs = request.options.jobs;
  printData(format("%zu units, %.3g s each, %.3g s the longest\n", expected.units, expected.unit(),
                   expected.longest) +
            format("%.3g s with %d job%s, %.3g s with one\n", expected.seconds(jobs), jobs,
                   jobs == 1 ? "" : "s", expected.seconds(1)) +
            format("%.0f MB at most\n", expected.bytes(jobs) / kMegabyte));
}

void planTraining(const TrainRequest& request, Engine engine,
                  const std::vector<std::string>& arguments, std::size_t group) {
  const Material material(request);
  report(request, material, Outcome::kUnits, [&] {
    const TrainingResult opened =
        trainUnits(material.examples, material.options, request.model, {});
    if (opened.was_there) return opened;
    std::vector<std::string> training = {"train"};
    std::vector<std::string> joining = {"join"};
    training.insert(training.end(), arguments.begin(), arguments.end());
    joining.insert(joining.end(), arguments.begin(), arguments.end());
    const std::string start =
        writeJob({engine,
                  request.model,
                  {"Trains the units of the numbers that it is given, as 0-9.", training,
                   " --help-out --unit"},
                  {"Makes the model, once all units are there.", joining, ""},
                  forecastOf(material),
                  group});
    say("the job is written; " + start + " starts it");
    return opened;
  });
}

void join(const TrainRequest& request) {
  const Material material(request);
  report(request, material, Outcome::kModel,
         [&] { return joinUnits(material.examples, material.options, request.model); });
}

namespace {

struct Options {
  TrainRequest request;
  std::vector<std::string> sequences;
  std::string frames;
  std::string stages;
  std::vector<std::string> units;
};

// What decides which model is made, and who works on it.
void addTrainingOptions(CLI::App* verb, const std::shared_ptr<Options>& options) {
  TrainRequest& request = options->request;
  TrainingOptions& tuning = request.options;
  auto* const config = verb->add_option("--config", request.config,
                                        "Training configuration file: sequences and their shapes")
                           ->type_name("FILE");
  verb->add_option("--sequence", options->sequences,
                   "Frames, or a video, and their positions, a shape sequence file or a table; may "
                   "be repeated")
      ->type_name("BASE:START:FILE")
      ->excludes(config);
  verb->add_option("--annotations", request.annotations,
                   "Table of positions with a column file that names images; may be repeated")
      ->type_name("TABLE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  verb->add_option("-o,--output", request.model, "Folder of the model")
      ->required()
      ->type_name("FOLDER");
  verb->add_option("--frames", options->frames,
                   "Train on frames of these numbers, as 8 or 0-149/10,200-299 (default: all)")
      ->type_name("FIRST-LAST/STEP,...");
  verb->add_flag("--plain", tuning.plain,
                 "A model in the coordinates of the frames, for hosts that run its flat files "
                 "themselves: it does not notice what it loses");
  verb->add_option(
          "--stages", options->stages,
          "Radii from coarse to fine, in pixels of the canvas (default: 45,22,11,7), or of "
          "the frames of a plain model (30,15,8)")
      ->type_name("RADIUS,...");
  verb->add_option("--predictors", tuning.predictors, "Predictors per point")
      ->capture_default_str()
      ->check(between(1, kMostPredictors))
      ->type_name("COUNT");
  verb->add_option("--generations", tuning.generations,
                   "Generations of evolution (default: 2, of a plain model 3)")
      ->check(between(1, kMostGenerations))
      ->type_name("COUNT");
  verb->add_option(
          "--scale", tuning.scale,
          "Pixels of the canvas a pixel of the frames (default: chosen from the size of the "
          "shape); of a plain model, the scale that frames are worked on at (1)")
      ->check(between(kSmallestScale, kLargestScale))
      ->type_name("FACTOR");
  verb->add_option("--seed", tuning.seed, "Seed of all random draws")
      ->capture_default_str()
      ->type_name("NUMBER");
  verb->add_option("--points", request.points,
                   "File with a line per point: name [predictors [placement 0, 1 or -1 [radius "
                   "factor]]]")
      ->type_name("FILE");
  tuning.jobs = processors();
  verb->add_option("-j,--jobs", tuning.jobs,
                   "Processes that share the work (default: as many as there are processors); the "
                   "model is the same")
      ->check(between(1, kMostJobs))
      ->type_name("COUNT");
  verb->add_flag("--force", tuning.force, "Replace a finished model of another training");
}

// The options that were given and that decide which model is made, as a command line has them.
std::vector<std::string> choosingArguments(const CLI::App& verb) {
  const std::set<std::string> others = {"--output", "--jobs", "--plan", "--group", "--max-memory"};
  std::vector<std::string> arguments;
  for (const CLI::Option* option : verb.get_options()) {
    const std::string name = "--" + option->get_single_name();
    if (option->count() == 0 || others.count(name) > 0) continue;
    if (option->get_expected_min() == 0) {
      arguments.push_back(name);
      continue;
    }
    for (const std::string& value : option->results()) {
      arguments.push_back(name);
      arguments.push_back(value);
    }
  }
  return arguments;
}

TrainRequest& parsed(Options& options) {
  TrainRequest& asked = options.request;
  if (asked.config.empty() && options.sequences.empty() && asked.annotations.empty()) {
    throw CLI::RequiredError("--config, --sequence or --annotations");
  }
  if (std::isnan(asked.options.scale)) throw CLI::ValidationError("--scale", "it is not a number");
  for (const std::string& text : options.sequences) {
    asked.sequences.push_back(parseAnnotatedSequence(text));
  }
  asked.frames = parseFrameChoice(options.frames);
  if (!options.stages.empty()) asked.options.radii = parseRadii(options.stages);
  asked.units = parseFrameChoice(CLI::detail::join(options.units, ","), "units");
  return asked;
}

}  // namespace

void addTrain(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  CLI::App* const verb =
      app.add_subcommand("train", "Train a model on frames with known positions");
  addTrainingOptions(verb, options);
  verb->add_option("--unit", options->units,
                   "Train only the units of these numbers, as 8 or 0-9, for `remora join`; any "
                   "machine that sees the folder of the model can")
      ->type_name("FIRST-LAST");
  verb->add_flag("--help-out", options->request.help,
                 "After these units, train those that are missing elsewhere, too")
      ->needs("--unit");
  const auto engine = std::make_shared<std::string>();
  const auto group = std::make_shared<std::size_t>(0);
  const auto forecast_only = std::make_shared<bool>(false);
  auto* const unit = verb->get_option("--unit");
  auto* const plan =
      verb->add_option("--plan", *engine,
                       "Do not train, but write files into the folder of the model with which "
                       "another engine spreads the work over machines")
          ->check(CLI::IsMember({"slurm", "parallel", "make"}))
          ->type_name("slurm|parallel|make")
          ->excludes(unit);
  verb->add_option("--group", *group,
                   "Units of a task of the plan (default: so many that it takes minutes)")
      ->check(between(1, kMostPredictors))
      ->type_name("COUNT")
      ->needs(plan);
  verb->add_option("--max-memory", options->request.max_memory,
                   "Bytes of memory to keep to, as 500M or 8G, with fewer jobs where that is "
                   "needed, and pictures in a temporary file")
      ->transform(CLI::AsSizeValue(false))
      ->type_name("BYTES");
  verb->add_flag("--dry-run", *forecast_only,
                 "Do not train, but say what it will take, from a small part that is measured here")
      ->excludes(unit)
      ->excludes(plan);
  verb->callback([=] {
    const TrainRequest& request = parsed(*options);
    if (*forecast_only) {
      forecastTraining(request);
    } else if (!engine->empty()) {
      planTraining(request, engineNamed(*engine), choosingArguments(*verb), *group);
    } else {
      train(request);
    }
  });
}

void addJoin(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  CLI::App* const verb = app.add_subcommand(
      "join", "Make the model of units that were trained with `remora train --unit`");
  addTrainingOptions(verb, options);
  verb->callback([options] { join(parsed(*options)); });
}

}  // namespace remora::tools
