// remora evaluate: tracks against known positions.

#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>

#include "follow/annotation/recording.h"
#include "follow/report/evaluation.h"
#include "options.h"
#include "output.h"
#include "verbs.h"

namespace remora::tools {

void addEvaluate(CLI::App& app) {
  struct Options {
    std::string truth;
    std::string tracks;
    std::string frames;
    std::string hidden;
    double lost = 5.0;
    bool json = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* const verb = app.add_subcommand("evaluate", "Compare tracks with known positions");
  verb->add_option("tracks", options->tracks,
                   "Table of remora track, or a shape sequence file; START is the number of its "
                   "first frame (default: that of the truth)")
      ->required()
      ->type_name("FILE[:START]");
  verb->add_option(
          "--truth", options->truth,
          "Known positions, of all frames or some: a table, or a shape sequence file whose "
          "first frame has the number START (default 0)")
      ->required()
      ->type_name("FILE[:START]");
  verb->add_option("--hidden", options->hidden,
                   "File with a line for each frame of the truth: the indices of points that "
                   "something covers, which should not be trusted")
      ->type_name("FILE");
  verb->add_option("--lost", options->lost, "A point farther away than this many pixels is lost")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber)
      ->type_name("PIXELS");
  verb->add_option("--frames", options->frames,
                   "Only frames of these numbers, as 8 or 0-149/10,200-299 (default: all)")
      ->type_name("FIRST-LAST/STEP,...");
  verb->add_flag("--json", options->json, "Print JSON instead of a table");
  verb->callback([options] {
    if (std::isnan(options->lost)) throw CLI::ValidationError("--lost", "it is not a number");
    const NumberedFile truth = parseNumberedFile(options->truth);
    const NumberedFile tracks = parseNumberedFile(options->tracks);
    const FrameChoice choice = parseFrameChoice(options->frames);
    const int first = truth.number.value_or(0);
    Truth known{readOneRecording(truth.name, first), {}};
    if (!options->hidden.empty()) known.hidden = readHidden(options->hidden, first);
    const Tracks read = readTracks(tracks.name, tracks.number.value_or(first));
    const Evaluation evaluation = evaluate(read, known, options->lost, choice);
    printData(options->json ? formatJson(evaluation) : formatTable(evaluation));
  });
}

}  // namespace remora::tools
