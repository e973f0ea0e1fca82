// remora annotate: a page in which points are placed on frames, or tracks looked over.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <set>

#include "follow/annotation/point_names.h"
#include "follow/annotation/recording.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/report/annotation_page.h"
#include "follow/report/suggestion.h"
#include "named_footage.h"
#include "output.h"
#include "verbs.h"

namespace remora::tools {
namespace {

constexpr int kAnnotated = 20;  // frames of a page, unless told otherwise
constexpr std::size_t kReviewed = 60;
constexpr double kLargePage = 100e6;  // bytes; browsers get slow beyond

struct AnnotateRequest {
  NamedFootage footage;
  NamedFrames frames;
  std::string output;
  std::string suggested;
  std::string names;
  std::string annotations;
  std::string tracks;
};

using TrackedFrames = std::map<int, const TrackedShape*>;

// Of tracked frames, half are those that tracking was least sure of, none beside another, and half
// are spread over all: it may be sure and wrong.
std::set<int> worthALook(const TrackedFrames& tracked) {
  std::vector<int> numbers;
  std::vector<std::pair<double, std::size_t>> by_confidence;
  for (const auto& [number, shape] : tracked) {
    by_confidence.emplace_back(meanConfidence(*shape).value_or(0.0), numbers.size());
    numbers.push_back(number);
  }
  const std::size_t all = numbers.size();
  const std::size_t gap = all / (2 * kReviewed);
  std::set<std::size_t> chosen;
  const std::size_t spread = std::min(all, kReviewed / 2);
  for (std::size_t i = 0; i < spread; ++i) {
    chosen.insert(spread == 1 ? 0 : i * (all - 1) / (spread - 1));
  }
  std::sort(by_confidence.begin(), by_confidence.end());
  for (const auto& [confidence, place] : by_confidence) {
    if (chosen.size() == kReviewed) break;
    const auto next = chosen.lower_bound(place > gap ? place - gap : 0);
    if (next == chosen.end() || *next > place + gap) chosen.insert(place);
  }
  std::set<int> result;
  for (const std::size_t place : chosen) result.insert(numbers[place]);
  return result;
}

// Frames of the page, and who has named them.
struct ChosenFrames {
  std::set<int> numbers;
  std::string source;
};

ChosenFrames framesOfPage(const AnnotateRequest& request, const Footage& footage,
                          const std::vector<Suggestion>& suggested, const TrackedFrames& tracked) {
  const NamedFrames& asked = request.frames;
  if (!asked.at.empty()) return {parseNumbers(asked.at), "--at " + asked.at};
  std::set<int> numbers;
  for (const Suggestion& one : suggested) numbers.insert(one.frame);
  if (!numbers.empty()) return {numbers, request.suggested};
  if (asked.count == 0 && !tracked.empty()) return {worthALook(tracked), request.tracks};
  return {variedFrames(footage, asked.count > 0 ? asked.count : kAnnotated), "--count"};
}

std::vector<std::string> parseNames(const std::string& text) {
  std::vector<std::string> names;
  for (const std::string& name : split(text, ',')) {
    if (!isPointName(name)) throw Misuse("--names " + text + ": not names, as nose,tail,fin");
    if (std::find(names.begin(), names.end(), name) != names.end()) {
      throw Misuse("--names " + text + ": " + name + " is there twice");
    }
    names.push_back(name);
  }
  return names;
}

// What is known of the footage: points, and positions in some frames.
Annotations readKnown(const AnnotateRequest& request, const std::string& recording, int first,
                      const Tracks& tracks) {
  Annotations known;
  if (!request.annotations.empty()) {
    known = recording.empty() ? readAnnotations(request.annotations)
                              : readRecording({recording, first, request.annotations}).annotations;
  }
  std::vector<std::string> names = tracks.names;
  if (!request.names.empty()) names = parseNames(request.names);
  if (names.empty()) return known;
  if (known.names.empty()) known.names = names;
  takeNames(names, request.annotations, known);
  return known;
}

const AnnotatedFrame* find(const Annotations& known, const FootageFrame& frame) {
  for (const AnnotatedFrame& one : known.frames) {
    if (one.file.empty() ? one.number == frame.number : one.file == frame.name) return &one;
  }
  return nullptr;
}

std::string megabytes(std::size_t bytes) {
  return format("%.1f MB", static_cast<double>(bytes) / 1e6);
}

// Files must not be overwritten by the page.
void checkOutput(const AnnotateRequest& request, const Footage& footage) {
  std::vector<std::string> read = footage.files();
  for (const std::string& file : {request.tracks, request.annotations, request.suggested}) {
    if (!file.empty()) read.push_back(file);
  }
  requireApart(read, {request.output});
  requireWritable(request.output);
}

// What a page is called whose images have names of their own: as the first of them.
std::string titleOf(const std::string& recording, const Footage& footage) {
  const std::filesystem::path name = recording.empty() ? footage.files()[0] : recording;
  return name.filename().string();
}

std::string labelOf(const FootageFrame& frame) {
  return std::isnan(frame.time) ? frame.name : frame.name + format(", %.2f s", frame.time);
}

void annotate(const AnnotateRequest& request) {
  const Footage footage = footageOf(request.footage);
  const std::string recording = recordingOf(request.footage);
  Tracks tracks;
  if (!request.tracks.empty()) tracks = readTracks(request.tracks, footage.first());
  TrackedFrames tracked;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    tracked.emplace(tracks.frame_numbers[i], &tracks.shapes[i]);
  }
  const Annotations known = readKnown(request, recording, footage.first(), tracks);
  std::vector<Suggestion> suggested;
  if (!request.suggested.empty()) suggested = readSuggestions(request.suggested);
  checkOutput(request, footage);

  AnnotationPage page(titleOf(recording, footage), known);
  std::size_t reviewed = 0;
  const auto add = [&](const FootageFrame& frame) {
    if (request.frames.every > 0 && frame.number % request.frames.every != 0) return true;
    PageFrame shown;
    shown.number = frame.number;
    shown.file = recording.empty() ? frame.name : recording;
    shown.label = labelOf(frame);
    shown.known = find(known, frame);
    if (const auto found = tracked.find(frame.number); found != tracked.end()) {
      shown.tracked = found->second;
      ++reviewed;
    }
    for (const Suggestion& one : suggested) {
      if (one.frame == frame.number) shown.why = one.why;
    }
    page.add(shown, frame.picture);
    return true;
  };
  if (request.frames.every > 0) {
    readAll(footage, "embedding", add);
  } else {
    const ChosenFrames chosen = framesOfPage(request, footage, suggested, tracked);
    readThese(footage, chosen.numbers, chosen.source, "embedding", add);
  }
  if (page.numFrames() == 0) throw Error("none of the frames is chosen");
  if (!tracked.empty() && reviewed == 0) {
    throw Error(request.tracks + " tracks none of the chosen frames");
  }
  const std::string text = page.text();
  writeFile(request.output, text);
  say(format("%s: %zu frames, %s; open it in a browser", request.output.c_str(), page.numFrames(),
             megabytes(text.size()).c_str()));
  if (static_cast<double>(text.size()) > kLargePage) {
    say("warning: browsers are slow with so large a page: --count takes fewer frames");
  }
}

}  // namespace

void addAnnotate(CLI::App& app) {
  auto request = std::make_shared<AnnotateRequest>();
  CLI::App* const verb = app.add_subcommand(
      "annotate", "Make a page in which points are placed on frames, or tracks looked over");
  addFootage(*verb, request->footage);
  verb->add_option("-o,--output", request->output, "HTML file to write")
      ->required()
      ->type_name("FILE");
  addFrameChoice(*verb, request->frames)
      ->add_option("--suggested", request->suggested,
                   format("The frames that remora suggest has written (without any choice: %d that "
                          "differ; with --tracks %zu, half of them those that tracking was least "
                          "sure of)",
                          kAnnotated, kReviewed))
      ->type_name("FILE");
  verb->add_option("--names", request->names,
                   "Names of the points (default: those of annotations or tracks; else the page "
                   "asks for them)")
      ->type_name("NAME,...");
  verb->add_option("--annotations", request->annotations,
                   "Go on from these positions: a saved file, or a table")
      ->type_name("FILE");
  verb->add_option("--tracks", request->tracks,
                   "Look over these tracks: what is confirmed or corrected is saved")
      ->type_name("FILE");
  verb->callback([request] { annotate(*request); });
}

}  // namespace remora::tools
