// remora track: a model follows its points through frames.

#include "track.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "follow/base/text.h"
#include "named_footage.h"
#include "output.h"
#include "tracking/known.h"
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

void addTrack(CLI::App& app) {
  struct Options {
    TrackRequest request;
    NamedFootage footage;
    std::string size;
    std::string format = "gray";
    std::string init;
    std::string corrections;
    std::string steps;
  };
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
                   "Write the table to this file, not to standard output, row by row")
      ->type_name("FILE");
  verb->add_option("--shapes", request.shapes, "Also write the positions as a shape sequence file")
      ->type_name("FILE");
  verb->add_option("--overlay", request.overlay, "Also draw every frame into this folder")
      ->type_name("FOLDER");
  verb->callback([options] {
    TrackRequest& asked = options->request;
    asked.init = parseNumberedFile(options->init);
    asked.corrections = parseNumberedFile(options->corrections);
    if (!options->steps.empty()) asked.steps = parseSteps(options->steps);
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
