// remora suggest: the frames whose annotation would help most.

#include <CLI/CLI.hpp>
#include <memory>

#include "follow/annotation/recording.h"
#include "follow/base/files.h"
#include "follow/report/suggestion.h"
#include "named_footage.h"
#include "options.h"
#include "output.h"
#include "verbs.h"

namespace remora::tools {
namespace {

struct SuggestRequest {
  std::string tracks;
  NamedFootage footage;
  std::vector<std::string> annotations;
  std::string trained;
  std::string frames;
  int count = 10;
  std::string output;
};

// All frames that are annotated already, with the points of the tracks.
Annotations readKnown(const SuggestRequest& request, const Tracks& tracks) {
  Annotations all;
  all.names = tracks.names;
  const FrameChoice trained = parseFrameChoice(request.trained);
  for (const std::string& file : request.annotations) {
    const NumberedFile named = parseNumberedFile(file);
    Annotations known = readOneRecording(named.name, named.number.value_or(0));
    takeNames(tracks.names, named.name, known);
    for (AnnotatedFrame& frame : known.frames) {
      const bool is_there = findFrame(all, "", frame.number) != nullptr;
      if (!is_there && isChosen(trained, frame.number)) all.frames.push_back(std::move(frame));
    }
  }
  return all;
}

void checkOutput(const SuggestRequest& request, const Footage& footage) {
  if (request.output.empty()) return;
  std::vector<std::string> read = footage.files();
  read.push_back(request.tracks);
  for (const std::string& file : request.annotations) read.push_back(parseNumberedFile(file).name);
  requireApart(read, {request.output});
  requireWritable(request.output);
}

void suggest(const SuggestRequest& request) {
  const Footage footage = footageOf(request.footage);
  const Tracks tracks = readTracks(request.tracks, footage.first());
  checkOutput(request, footage);
  Suggester suggester(tracks, readKnown(request, tracks), parseFrameChoice(request.frames));
  readThese(footage, suggester.wanted(), request.tracks, "looking",
            [&suggester](const FootageFrame& frame) {
              suggester.look(frame.number, toGrey(frame.picture.view()));
              return true;
            });
  const std::string table = formatTable(suggester.pick(static_cast<std::size_t>(request.count)));
  request.output.empty() ? printData(table) : writeFile(request.output, table);
}

}  // namespace

void addSuggest(CLI::App& app) {
  auto request = std::make_shared<SuggestRequest>();
  CLI::App* const verb =
      app.add_subcommand("suggest", "Say which frames should be annotated next, and why");
  verb->add_option("tracks", request->tracks, "Table of remora track")
      ->required()
      ->type_name("TRACKS");
  addFootage(*verb, request->footage);
  verb->add_option("-n,--number", request->count, "How many frames")
      ->capture_default_str()
      ->check(CLI::PositiveNumber)
      ->type_name("COUNT");
  verb->add_option("--annotations", request->annotations,
                   "What the model was trained on, as far as it is of this footage: a table, an "
                   "annotation file, or a shape sequence file whose first frame has the number "
                   "START (default 0); may be repeated")
      ->type_name("FILE[:START]")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  verb->add_option("--trained", request->trained,
                   "Of those annotations, only frames of these numbers were trained on")
      ->type_name("FIRST-LAST/STEP,...");
  verb->add_option("--frames", request->frames, "Only suggest frames of these numbers")
      ->type_name("FIRST-LAST/STEP,...");
  verb->add_option("-o,--output", request->output,
                   "Write the table to this file, for remora annotate --suggested")
      ->type_name("FILE");
  verb->callback([request] { suggest(*request); });
}

}  // namespace remora::tools
