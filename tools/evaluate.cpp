// remora evaluate: tracks against known positions.

#include <CLI/CLI.hpp>
#include <cmath>
#include <limits>
#include <memory>

#include "common/evaluation.h"
#include "common/streams.h"
#include "verbs.h"

namespace remora::tools {

void addEvaluate(CLI::App& app) {
  struct Options {
    std::string truth;
    std::string tracks;
    std::string frames;
    double lost = 5.0;
    bool json = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* const verb = app.add_subcommand("evaluate", "Compare tracks with known positions");
  verb->add_option("tracks", options->tracks,
                   "Table of remora track, or a shape sequence file, SHAPES[:START] where START is "
                   "the number of its first frame (default: that of the truth)")
      ->required();
  verb->add_option("--truth", options->truth,
                   "Shape sequence file of the known positions, SHAPEFILE[:START] where START is "
                   "the number of its first frame (default 0)")
      ->required();
  verb->add_option("--lost", options->lost, "A point farther away than this many pixels is lost")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  verb->add_option("--frames", options->frames, "Only frames FIRST-LAST (default: all)");
  verb->add_flag("--json", options->json, "Print JSON instead of a table");
  verb->callback([options] {
    if (std::isnan(options->lost)) throw CLI::ValidationError("--lost", "it is not a number");
    separateMessages();
    const NumberedFile truth = parseNumberedFile(options->truth);
    const FrameRange all{std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    const FrameRange range = options->frames.empty() ? all : parseFrameRange(options->frames);
    const std::vector<Shape> known = readShapes(truth.name);
    requireNumbers(known, truth.name);
    const NumberedFile tracks = parseNumberedFile(options->tracks);
    const int first = tracks.name == options->tracks ? truth.number : tracks.number;
    const Evaluation evaluation =
        evaluate(readTracks(tracks.name, first), known, truth.number, options->lost, range);
    printData(options->json ? formatJson(evaluation) : formatTable(evaluation));
  });
}

}  // namespace remora::tools
