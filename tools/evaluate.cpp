// remora evaluate: tracks against known positions.

#include "evaluate.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>
#include <optional>

#include "follow/annotation/recording.h"
#include "follow/base/files.h"
#include "follow/report/evaluation.h"
#include "follow/report/report.h"
#include "options.h"
#include "output.h"
#include "verbs.h"

namespace remora::tools {

namespace {

void requireWhatBelongsTogether(const EvaluateRequest& request) {
  if (std::isnan(request.lost)) throw Misuse("--lost: it is not a number");
  if (request.truth.empty() && request.report.empty()) {
    throw Misuse("--truth names the known positions; without any, --report shows tracks alone");
  }
  const auto needs = [](const char* option, const std::string& value, const char* other,
                        const std::string& needed) {
    if (!value.empty() && needed.empty()) {
      throw Misuse(std::string(option) + " is of no use without " + other);
    }
  };
  needs("--hidden", request.hidden, "--truth", request.truth);
  needs("--frames", request.frames, "--truth", request.truth);
  needs("--trained", request.trained, "--truth", request.truth);
  needs("--trained", request.trained, "--report", request.report);
  needs("--footage", request.footage, "--report", request.report);
}

std::optional<Truth> readTruth(const EvaluateRequest& request, const NumberedFile& file) {
  if (file.name.empty()) return std::nullopt;
  const int first = file.number.value_or(0);
  Truth truth{readOneRecording(file.name, first), {}};
  if (!request.hidden.empty()) truth.hidden = readHidden(request.hidden, first);
  return truth;
}

void addPictures(const std::string& footage, Report& report) {
  if (footage.empty()) return;
  const Sequence sequence = parseSequence(footage);
  if (isVideo(sequence.base)) {
    readVideoFrames(sequence.base, report.wantedFrames(), [&report](const FootageFrame& frame) {
      report.add(frame.number, frame.picture);
    });
    return;
  }
  for (const int frame : report.wantedFrames()) {
    report.add(frame, loadPicture(existingFrameFile(sequence.base, frame)));
  }
}

void writeReport(const EvaluateRequest& request, const Tracks& tracks,
                 const std::optional<Truth>& truth, const std::string& title) {
  ReportMatter matter{title, tracks, truth, request.lost, parseFrameChoice(request.frames), {}};
  if (!request.trained.empty()) matter.trained = parseFrameChoice(request.trained);
  Report report(std::move(matter));
  addPictures(request.footage, report);
  writeFile(request.report, report.text());
}

void checkReport(const EvaluateRequest& request, const NumberedFile& known,
                 const NumberedFile& tracked) {
  if (request.report.empty()) return;
  std::vector<std::string> read = {tracked.name};
  for (const std::string& file : {known.name, request.hidden}) {
    if (!file.empty()) read.push_back(file);
  }
  requireApart(read, {request.report});
  requireWritable(request.report);
}

}  // namespace

void evaluate(const EvaluateRequest& request) {
  requireWhatBelongsTogether(request);
  const NumberedFile known = parseNumberedFile(request.truth);
  const NumberedFile tracked = parseNumberedFile(request.tracks);
  checkReport(request, known, tracked);
  std::optional<Truth> truth = readTruth(request, known);
  const Tracks tracks = readTracks(tracked.name, tracked.number.value_or(known.number.value_or(0)));
  if (truth) takeNames(tracks.names, known.name, truth->annotations);
  std::optional<Evaluation> evaluation;
  if (truth)
    evaluation = remora::evaluate(tracks, *truth, request.lost, parseFrameChoice(request.frames));
  if (!request.report.empty()) writeReport(request, tracks, truth, tracked.name);
  if (evaluation && !request.silent) {
    printData(request.json ? formatJson(*evaluation) : formatTable(*evaluation));
  }
}

void addEvaluate(CLI::App& app) {
  auto options = std::make_shared<EvaluateRequest>();
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
  verb->add_option("--report", options->report,
                   "Write a page that shows the tracks, and what they are worth, to this file")
      ->type_name("FILE.html");
  verb->add_option("--footage", options->footage,
                   "The frames of the tracks, for the pictures of the report: BASE:START")
      ->type_name("FOOTAGE");
  verb->add_option("--trained", options->trained,
                   "The frames that the model was trained on: the report tells others apart")
      ->type_name("FIRST-LAST/STEP,...");
  verb->callback([options] { evaluate(*options); });
}

}  // namespace remora::tools
