// remora track: a model follows its points through frames.

#include "track.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>

#include "follow/base/text.h"
#include "follow/base/workers.h"
#include "follow/footage/picture.h"
#include "named_footage.h"
#include "options.h"
#include "output.h"
#include "ranges.h"
#include "tracking/known.h"
#include "tracking/many.h"
#include "tracking/outputs.h"
#include "tracking/run.h"
#include "verbs.h"

namespace remora::tools {
namespace {

constexpr char kStandardInput[] = "-";

Model loadModel(const TrackRequest& request) {
  const Model model(request.model);
  if (request.steps.empty()) return model;
  if (request.steps.size() != model.numStages()) {
    throw Misuse(format("--steps: %zu numbers are needed, one for each stage of %s",
                        model.numStages(), request.model.c_str()));
  }
  return Model(request.model, request.steps);
}

}  // namespace

void track(const TrackRequest& request) {
  const Model model = loadModel(request);
  const KnownShapes known = readKnown(request, model);
  checkOutputs(request, model);
  const auto follow = request.both_ways ? followBothWays
                      : request.smooth  ? followSmoothly
                                        : followOnline;
  say(follow(request, model, known).text());
}

namespace {

struct Options {
  TrackRequest request;
  NamedFootage footage;
  std::string size;
  std::string format = "gray";
  std::string init;
  std::string corrections;
  std::string steps;
  // Of many videos.
  std::vector<std::string> lists;
  std::vector<std::string> units;
  std::string engine;
  std::size_t group = 0;
  int jobs = 0;  // not told
  bool force = false;
  bool check = false;
};

bool namesFolder(const std::string& name) { return !name.empty() && name.back() == '/'; }

bool asksForMany(const Options& options) {
  const std::vector<std::string>& files = options.footage.files;
  const bool has_videos = files.size() > 1 && !std::all_of(files.begin(), files.end(), isImageFile);
  return has_videos || options.footage.sequences.size() > 1 || !options.lists.empty() ||
         namesFolder(options.request.csv);
}

ManyRequest manyOf(const Options& options) {
  const TrackRequest& each = options.request;
  if (!namesFolder(each.csv) && !std::filesystem::is_directory(each.csv)) {
    throw Misuse("many videos need a folder for their tables: -o FOLDER/");
  }
  if (!each.shapes.empty() || !each.overlay.empty() || !options.init.empty() ||
      !options.corrections.empty() || !options.size.empty()) {
    throw Misuse("--init, --corrections, --shapes, --overlay and --size are of one video");
  }
  ManyRequest many;
  many.each = each;
  many.folder = each.csv;
  while (many.folder.size() > 1 && many.folder.back() == '/') many.folder.pop_back();
  many.each.csv.clear();
  for (const std::string& file : options.footage.files) many.footage.push_back({{file}, {}});
  for (const std::string& text : options.footage.sequences) many.footage.push_back({{}, {text}});
  for (const std::string& list : options.lists) {
    for (NamedFootage& named : readList(list)) many.footage.push_back(std::move(named));
  }
  if (many.footage.empty()) throw CLI::RequiredError("--sequence, --list or files");
  many.jobs = options.jobs > 0 ? options.jobs : processors();
  many.force = options.force;
  many.units = parseFrameChoice(CLI::detail::join(options.units, ","), "units");
  return many;
}

void workOnMany(const Options& options) {
  const ManyRequest many = manyOf(options);
  if (options.check) return checkMany(many);
  if (options.engine.empty()) return trackMany(many);
  std::vector<std::string> arguments = {options.request.model};
  if (options.request.both_ways) arguments.emplace_back("--both-ways");
  if (options.request.smooth) arguments.emplace_back("--smooth");
  if (!options.steps.empty()) arguments.insert(arguments.end(), {"--steps", options.steps});
  planMany(many, engineNamed(options.engine), arguments, options.group);
}

// For tables in a folder.
void addManyOptions(CLI::App& verb, Options& options) {
  verb.add_option("--list", options.lists,
                  "File that names more videos or sequences, one a line, for a folder of tables")
      ->type_name("FILE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  verb.add_option("-j,--jobs", options.jobs,
                  "With a folder of tables: processes that share the videos (default: as many as "
                  "there are processors)")
      ->check(between(1, kMostJobs))
      ->type_name("COUNT");
  verb.add_flag("--force", options.force,
                "With a folder of tables: also track what is finished there");
  auto* const unit = verb.add_option("--unit", options.units,
                                     "With a folder of tables: only the videos of these numbers, "
                                     "counted from 0, as 8 or 0-9")
                         ->type_name("FIRST-LAST");
  auto* const check = verb.add_flag(
      "--check", options.check, "With a folder of tables: only say which are not finished there");
  auto* const plan =
      verb.add_option("--plan", options.engine,
                      "Do not track, but write files into the folder of tables with which another "
                      "engine spreads the videos over machines")
          ->check(CLI::IsMember({"slurm", "parallel", "make"}))
          ->type_name("slurm|parallel|make")
          ->excludes(unit)
          ->excludes(check);
  verb.add_option("--group", options.group,
                  "Videos of a task of the plan (default: so many that it takes minutes)")
      ->check(between(1, kMostPredictors))
      ->type_name("COUNT")
      ->needs(plan);
}

}  // namespace

void addTrack(CLI::App& app) {
  auto options = std::make_shared<Options>();
  TrackRequest& request = options->request;
  CLI::App* const verb = app.add_subcommand("track", "Track a model's points through frames");
  verb->add_option("model", request.model, "Folder of the model")->required()->type_name("FOLDER");
  addFootage(*verb, options->footage);
  verb->add_option("--size", options->size,
                   "Pixels of raw frames, which standard input has where the file is called -")
      ->type_name("WIDTHxHEIGHT");
  verb->add_option("--format", options->format,
                   "What a pixel of raw frames is: a byte, or one each of red, green, blue")
      ->capture_default_str()
      ->type_name("gray|rgb24");
  verb->add_option(
          "--init", options->init,
          "The first frame shows shape k (default 0) of a shape sequence file, or what a "
          "table has for it (default: the shape is found in the first frame that shows it; "
          "a plain model starts where training saw it first)")
      ->type_name("FILE[:k]");
  verb->add_option("--corrections", options->corrections,
                   "Positions known in some frames: a table, or a shape sequence file whose first "
                   "frame has the number START (default 0); tracking goes on from them")
      ->type_name("FILE[:START]");
  verb->add_flag(
      "--both-ways", request.both_ways,
      "Track backwards from every frame with known positions, too, and take what is more "
      "confident");
  verb->add_flag("--smooth", request.smooth,
                 "Smooth positions over time, by confidence and without lag");
  verb->add_option("--steps", options->steps, "Prediction steps per frame of each stage, as 2,1,1")
      ->type_name("COUNT,...");
  verb->add_option("-o,--output,--csv", request.csv,
                   "Write the table to this file, not to standard output, row by row; or a table "
                   "for each of many videos into this folder, FOLDER/")
      ->type_name("FILE");
  verb->add_option("--shapes", request.shapes, "Also write the positions as a shape sequence file")
      ->type_name("FILE");
  verb->add_option("--overlay", request.overlay, "Also draw every frame into this folder")
      ->type_name("FOLDER");
  addManyOptions(*verb, *options);
  verb->callback([options] {
    TrackRequest& asked = options->request;
    if (!options->steps.empty()) asked.steps = parseSteps(options->steps);
    if (asksForMany(*options)) return workOnMany(*options);
    if (options->jobs > 0 || options->force || options->check || !options->units.empty() ||
        !options->engine.empty()) {
      throw Misuse(
          "--jobs, --force, --unit, --check and --plan want a folder of tables: -o FOLDER/");
    }
    asked.init = parseNumberedFile(options->init);
    asked.corrections = parseNumberedFile(options->corrections);
    const bool is_raw = options->footage.files == std::vector<std::string>{kStandardInput};
    if (is_raw == options->size.empty()) {
      throw Misuse("--size belongs to raw frames on standard input, -, and they need it");
    }
    if (is_raw && !asked.overlay.empty() && (asked.both_ways || asked.smooth)) {
      throw Misuse("frames on standard input cannot be drawn after all are tracked");
    }
    asked.footage = is_raw ? Footage(parseRawFrames(options->size, options->format))
                           : footageOf(options->footage);
    track(asked);
  });
}

}  // namespace remora::tools
