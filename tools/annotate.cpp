// remora annotate: a page in which points are placed on frames, or tracks looked over.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "follow/annotation/point_names.h"
#include "follow/annotation/recording.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/footage/picture.h"
#include "follow/report/annotation_page.h"
#include "follow/report/suggestion.h"
#include "named_footage.h"
#include "options.h"
#include "output.h"
#include "progress.h"
#include "verbs.h"

namespace remora::tools {
namespace {

constexpr std::size_t kAnnotated = 20;  // frames of a page, unless told otherwise
constexpr std::size_t kReviewed = 60;
constexpr double kLargePage = 100e6;  // bytes; browsers get slow beyond

struct AnnotateRequest {
  NamedFootage footage;
  std::string output;
  int every = 0;
  int count = 0;
  std::string at;
  std::string suggested;
  std::string names;
  std::string annotations;
  std::string tracks;
};

// Frames of the page: their places among all frames, ascending.
using Places = std::set<std::size_t>;

Places spread(std::size_t among, std::size_t count) {
  Places places;
  const std::size_t taken = std::min(among, count);
  for (std::size_t i = 0; i < taken; ++i) {
    places.insert(taken == 1 ? 0 : i * (among - 1) / (taken - 1));
  }
  return places;
}

Places numbered(const ListedFootage& footage, const std::vector<int>& numbers) {
  std::map<int, std::size_t> places;
  for (std::size_t i = 0; i < footage.frames.size(); ++i) {
    places.emplace(footage.frames[i].number, i);
  }
  Places chosen;
  for (const int number : numbers) {
    const auto found = places.find(number);
    if (found == places.end()) {
      throw Error(format("there is no frame %d, there are %d to %d", number,
                         footage.frames.front().number, footage.frames.back().number));
    }
    chosen.insert(found->second);
  }
  return chosen;
}

std::vector<int> parseNumbers(const std::string& text) {
  std::vector<int> numbers;
  for (const std::string& piece : split(text, ',')) {
    const auto number = toNumber<int>(piece);
    if (!number) throw Misuse("--at " + text + ": not numbers of frames, as 0,40,95");
    numbers.push_back(*number);
  }
  return numbers;
}

// Half of them the frames that tracking was least sure of, none beside another; half of them spread
// over all: it may be sure and wrong.
Places leastSure(const ListedFootage& footage, const std::map<int, const TrackedShape*>& tracked) {
  std::vector<std::pair<double, std::size_t>> frames;
  for (std::size_t i = 0; i < footage.frames.size(); ++i) {
    const auto found = tracked.find(footage.frames[i].number);
    if (found == tracked.end()) continue;
    frames.emplace_back(meanConfidence(*found->second).value_or(0.0), i);
  }
  const std::size_t gap = frames.size() / (2 * kReviewed);
  Places chosen;
  for (const std::size_t i : spread(frames.size(), kReviewed / 2)) chosen.insert(frames[i].second);
  std::sort(frames.begin(), frames.end());
  for (const auto& [confidence, place] : frames) {
    const auto next = chosen.lower_bound(place > gap ? place - gap : 0);
    if (next != chosen.end() && *next <= place + gap) continue;
    chosen.insert(place);
    if (chosen.size() == kReviewed) break;
  }
  return chosen;
}

Places chosenPlaces(const AnnotateRequest& request, const ListedFootage& footage,
                    const std::vector<Suggestion>& suggested,
                    const std::map<int, const TrackedShape*>& tracked) {
  const std::size_t all = footage.frames.size();
  if (!request.at.empty()) return numbered(footage, parseNumbers(request.at));
  if (!suggested.empty()) {
    std::vector<int> numbers;
    for (const Suggestion& one : suggested) numbers.push_back(one.frame);
    return numbered(footage, numbers);
  }
  if (request.every > 0) {
    Places places;
    for (std::size_t i = 0; i < all; i += static_cast<std::size_t>(request.every)) places.insert(i);
    return places;
  }
  if (request.count > 0) return spread(all, static_cast<std::size_t>(request.count));
  return tracked.empty() ? spread(all, kAnnotated) : leastSure(footage, tracked);
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
Annotations readKnown(const AnnotateRequest& request, const ListedFootage& footage,
                      const Tracks& tracks) {
  Annotations known;
  if (!request.annotations.empty()) {
    known = footage.is_recording
                ? readRecording({footage.name, footage.frames[0].number, request.annotations})
                      .annotations
                : readAnnotations(request.annotations, 0);
  }
  if (!request.names.empty()) {
    const std::vector<std::string> names = parseNames(request.names);
    if (known.names.empty()) known.names = names;
    takeNames(names, request.annotations, known);
  }
  if (!tracks.names.empty()) {
    if (known.names.empty()) known.names = tracks.names;
    takeNames(tracks.names, request.annotations, known);
  }
  return known;
}

const AnnotatedFrame* find(const Annotations& known, const ListedFootage& footage,
                           const Frame& frame) {
  for (const AnnotatedFrame& one : known.frames) {
    const bool is_it = footage.is_recording || one.file.empty() ? one.number == frame.number
                                                                : one.file == frame.file;
    if (is_it) return &one;
  }
  return nullptr;
}

std::string megabytes(std::size_t bytes) {
  return format("%.1f MB", static_cast<double>(bytes) / 1e6);
}

void annotate(const AnnotateRequest& request) {
  const ListedFootage footage = list(request.footage);
  Tracks tracks;
  if (!request.tracks.empty()) tracks = readTracks(request.tracks, footage.frames[0].number);
  std::map<int, const TrackedShape*> tracked;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    tracked.emplace(tracks.frame_numbers[i], &tracks.shapes[i]);
  }
  const Annotations known = readKnown(request, footage, tracks);
  std::vector<Suggestion> suggested;
  if (!request.suggested.empty()) suggested = readSuggestions(request.suggested);
  std::vector<std::string> read = {request.tracks, request.annotations, request.suggested};
  for (const std::string& file : footage.footage.files()) read.push_back(file);
  read.erase(std::remove(read.begin(), read.end(), ""), read.end());
  requireApart(read, {request.output});
  requireWritable(request.output);

  const Places places = chosenPlaces(request, footage, suggested, tracked);
  AnnotationPage page(std::filesystem::path(footage.name).filename().string(), known);
  std::size_t reviewed = 0;
  {
    Progress progress("embedding", "frames", static_cast<long>(places.size()));
    std::map<int, const Frame*> wanted;
    for (const std::size_t place : places) {
      wanted.emplace(footage.frames[place].number, &footage.frames[place]);
    }
    const auto is_wanted = [&wanted](int number) { return wanted.count(number) != 0; };
    readFrames(footage.footage, is_wanted, [&](const FootageFrame& read_frame) {
      const Frame& frame = *wanted.at(read_frame.number);
      PageFrame shown;
      shown.number = frame.number;
      shown.file = footage.is_recording ? footage.name : frame.file;
      shown.label = frame.file;
      shown.known = find(known, footage, frame);
      if (const auto found = tracked.find(frame.number); found != tracked.end()) {
        shown.tracked = found->second;
        ++reviewed;
      }
      for (const Suggestion& one : suggested) {
        if (one.frame == frame.number) shown.why = one.why;
      }
      page.add(shown, read_frame.picture);
      progress.advance();
    });
  }
  if (!tracked.empty() && reviewed == 0) {
    throw Error(request.tracks + " tracks none of the chosen frames");
  }
  const std::string text = page.text();
  writeFile(request.output, text);
  say(format("%s: %zu of %zu frames, %s; open it in a browser", request.output.c_str(),
             page.numFrames(), footage.frames.size(), megabytes(text.size()).c_str()));
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
  auto* const every = verb->add_option("--every", request->every, "Every so many frames")
                          ->check(CLI::PositiveNumber)
                          ->type_name("COUNT");
  auto* const count =
      verb->add_option(
              "--count", request->count,
              format("So many frames, evenly spread (default: %zu; with --tracks %zu, half "
                     "of them those that tracking was least sure of)",
                     kAnnotated, kReviewed))
          ->check(CLI::PositiveNumber)
          ->type_name("COUNT")
          ->excludes(every);
  auto* const at = verb->add_option("--at", request->at, "Frames of these numbers, as 0,40,95")
                       ->type_name("NUMBER,...")
                       ->excludes(every)
                       ->excludes(count);
  verb->add_option("--suggested", request->suggested, "The frames that remora suggest has written")
      ->type_name("FILE")
      ->excludes(every)
      ->excludes(count)
      ->excludes(at);
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
