// remora track: a model follows its points through frames.

#include "track.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "follow/annotation/recording.h"
#include "follow/base/files.h"
#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/report/overlay_folder.h"
#include "follow/tracking/corrected.h"
#include "follow/tracking/smoothing.h"
#include "output.h"
#include "progress.h"
#include "verbs.h"

namespace remora::tools {
namespace {

// Positions that are known, by frame number.
using KnownShapes = std::map<int, Shape>;

KnownShapes knownShapes(const std::string& file, int first, const std::vector<std::string>& names) {
  Annotations annotations = readOneRecording(file, first);
  takeNames(names, file, annotations);
  KnownShapes shapes;
  for (AnnotatedFrame& frame : annotations.frames) {
    shapes.emplace(frame.number, std::move(frame.points));
  }
  return shapes;
}

// The shape that the user gives for the first frame: shape k of a shape sequence file, or frame k
// of a table.
Shape givenStart(const NumberedFile& file, int first_frame, const std::vector<std::string>& names) {
  const bool is_table = hasFrameNumbers(file.name);
  const KnownShapes shapes = knownShapes(file.name, 0, names);
  const int number = file.number.value_or(is_table ? first_frame : 0);
  const auto found = shapes.find(number);
  if (found != shapes.end()) return found->second;
  throw Error(is_table ? format("%s has no positions for frame %d", file.name.c_str(), number)
                       : format("%s has no shape %d, it has %zu", file.name.c_str(), number,
                                shapes.size()));
}

void requireFrames(const KnownShapes& shapes, const std::string& file,
                   const std::vector<Frame>& frames) {
  for (const auto& known : shapes) {
    const auto is = [&known](const Frame& frame) { return frame.number == known.first; };
    if (std::any_of(frames.begin(), frames.end(), is)) continue;
    throw Error(format("%s: frame %d is not among those to track, %d to %d", file.c_str(),
                       known.first, frames.front().number, frames.back().number));
  }
}

// Everything that is known, by frame.
KnownShapes readKnown(const TrackRequest& request, const Model& model) {
  KnownShapes known;
  if (!request.corrections.name.empty()) {
    const NumberedFile& file = request.corrections;
    known = knownShapes(file.name, file.number.value_or(0), model.pointNames());
    requireFrames(known, file.name, request.frames);
  }
  if (!request.init.name.empty()) {
    const int first = request.frames.front().number;
    known.insert_or_assign(first, givenStart(request.init, first, model.pointNames()));
  }
  return known;
}

void checkInside(const Shape& shape, const Frame& frame, const Picture& picture) {
  for (std::size_t p = 0; p < shape.size(); ++p) {
    const Point& point = shape[p];
    const bool inside =
        point.x >= 0.0 && point.x < picture.width && point.y >= 0.0 && point.y < picture.height;
    if (inside || !isSeen(point)) continue;
    throw Error(format("point %zu is given at (%.2f, %.2f), outside frame %s, %d x %d", p, point.x,
                       point.y, frame.file.c_str(), picture.width, picture.height));
  }
}

// Loads frames, which all have the size of the first one that is loaded.
class Footage {
 public:
  Footage(const std::vector<Frame>& frames, const KnownShapes& known)
      : frames_(frames), known_(known) {}

  Picture load(std::size_t index) {
    const Frame& frame = frames_[index];
    Picture picture = loadPicture(frame.file);
    if (first_.empty()) {
      first_ = frame.file;
      width_ = picture.width;
      height_ = picture.height;
    }
    if (picture.width != width_ || picture.height != height_) {
      throw Error(format("frame %s is %d x %d, frame %s is %d x %d", frame.file.c_str(),
                         picture.width, picture.height, first_.c_str(), width_, height_));
    }
    if (const Shape* const shape = known(index)) checkInside(*shape, frame, picture);
    return picture;
  }

  const Shape* known(std::size_t index) const {
    const auto found = known_.find(frames_[index].number);
    return found == known_.end() ? nullptr : &found->second;
  }

 private:
  const std::vector<Frame>& frames_;
  const KnownShapes& known_;
  std::string first_;
  int width_ = 0;
  int height_ = 0;
};

// Files and pictures that are written while frames are tracked.
class Outputs {
 public:
  explicit Outputs(const TrackRequest& request) {
    if (!request.csv.empty()) table_.emplace(request.csv);
    if (!request.overlay.empty()) overlay_.emplace(request.overlay);
  }

  // Writes the last frame of the tracks; `picture` is that frame.
  void add(const Tracks& tracks, const Picture& picture) {
    const std::string rows = formatTable(tracks, tracks.shapes.size() - 1);
    table_ ? table_->append(rows) : printData(rows);
    if (overlay_) overlay_->add(picture, tracks, tracks.shapes.size() - 1);
  }

 private:
  std::optional<GrowingFile> table_;  // or standard output
  std::optional<OverlayFolder> overlay_;
};

std::set<std::string> picturesTouched(const TrackRequest& request) {
  if (request.overlay.empty()) return {};
  const OverlayFolder folder(request.overlay);
  const std::vector<std::string> earlier = folder.earlier();
  std::set<std::string> files(earlier.begin(), earlier.end());
  for (const Frame& frame : request.frames) {
    folder.requireRoomFor(frame.number);
    files.insert(folder.pictureOf(frame.number));
  }
  return files;
}

void checkOutputs(const TrackRequest& request, const Model& model) {
  std::vector<std::string> read = model.files();
  for (const NumberedFile& file : {request.init, request.corrections}) {
    if (!file.name.empty()) read.push_back(file.name);
  }
  for (const Frame& frame : request.frames) read.push_back(frame.file);
  const std::set<std::string> pictures = picturesTouched(request);
  std::vector<std::string> written(pictures.begin(), pictures.end());
  for (const std::string& file : {request.csv, request.shapes}) {
    if (file.empty()) continue;
    written.push_back(file);
    requireWritable(file);
  }
  requireApart(read, written);
  if (!request.overlay.empty()) makeFolder(request.overlay);
}

void writeShapes(const TrackRequest& request, const Tracks& tracks) {
  if (!request.shapes.empty()) writeFile(request.shapes, formatShapes(tracks));
}

// Writes tracks that are finished.
void writeAll(const TrackRequest& request, Footage& footage, const Tracks& tracks) {
  const std::string table = formatTable(tracks);
  request.csv.empty() ? printData(table) : writeFile(request.csv, table);
  writeShapes(request, tracks);
  if (request.overlay.empty()) return;
  OverlayFolder overlay(request.overlay);
  Progress progress("drawing", "frames", static_cast<long>(tracks.shapes.size()));
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    overlay.add(footage.load(i), tracks, i);
    progress.advance();
  }
}

// Shows how far tracking is, and ends it at an interruption.
class Watch {
 public:
  Watch(bool shown, std::size_t steps) {
    if (shown) progress_.emplace("tracking", "frames", static_cast<long>(steps));
  }

  void tell() {
    if (progress_) progress_->advance();
    if (interruption_.signal() != 0) throw Interruption("interrupted", interruption_.signal());
  }

 private:
  NotedInterruption interruption_;
  std::optional<Progress> progress_;
};

// What smoothing and the way back may still change is written when all of it is there.
bool writesAtTheEnd(const TrackRequest& request) { return request.both_ways || request.smooth; }

// Rows on a terminal are a sign of progress themselves.
bool showsProgress(const TrackRequest& request) {
  return writesAtTheEnd(request) || !request.csv.empty() || !isTerminal();
}

// Tracks frame by frame until the last one or an interruption, and writes rows as they come.
void followForwards(const TrackRequest& request, const Model& model, Footage& footage,
                    Tracks& tracks) {
  std::optional<Outputs> outputs;
  if (!writesAtTheEnd(request)) outputs.emplace(request);
  Watch watch(showsProgress(request), request.frames.size());
  CorrectedTracker tracker(model);
  for (std::size_t i = 0; i < request.frames.size(); ++i) {
    const Picture picture = footage.load(i);
    try {
      tracks.shapes.push_back(tracker.next(picture.view(), footage.known(i)));
    } catch (const Error& error) {
      throw Error("frame " + request.frames[i].file + ": " + error.what());
    }
    tracks.frame_numbers.push_back(request.frames[i].number);
    if (outputs) outputs->add(tracks, picture);
    watch.tell();
  }
}

// Leaves no tracks when it does not come to the end.
void followBothWays(const TrackRequest& request, const Model& model, Footage& footage,
                    Tracks& tracks) {
  const std::size_t count = request.frames.size();
  Watch watch(showsProgress(request), 2 * count);
  const auto tell = [&watch](std::size_t) {
    watch.tell();
    return true;
  };
  const auto load = [&footage](std::size_t index) { return footage.load(index); };
  std::map<std::size_t, Shape> known;
  for (std::size_t i = 0; i < count; ++i) {
    if (const Shape* const shape = footage.known(i)) known.emplace(i, *shape);
  }
  tracks.shapes = trackBothWays(model, count, known, load, tell);
  for (const Frame& frame : request.frames) tracks.frame_numbers.push_back(frame.number);
}

// Writes what is not written yet.
void writeRest(const TrackRequest& request, Footage& footage, Tracks& tracks) {
  if (request.smooth) smooth(tracks);
  writesAtTheEnd(request) ? writeAll(request, footage, tracks) : writeShapes(request, tracks);
}

// The message of a run that ended early.
std::string howFar(const std::string& reason, const Tracks& tracks, const TrackRequest& request) {
  return reason +
         format("; %zu of %zu frames are done, the last one is %s; ", tracks.shapes.size(),
                request.frames.size(), request.frames[tracks.shapes.size() - 1].file.c_str()) +
         summaryOf(tracks);
}

Model loadModel(const TrackRequest& request) {
  const Model model(request.model);
  if (request.steps.empty()) return model;
  if (request.steps.size() != model.numStages()) {
    throw Misuse(format("--steps: %zu numbers are needed, one for each stage of %s",
                        model.numStages(), request.model.c_str()));
  }
  return Model(request.model, request.steps);
}

// What was tracked when a run ends early is kept.
void follow(const TrackRequest& request, const Model& model, Footage& footage, Tracks& tracks) {
  try {
    request.both_ways ? followBothWays(request, model, footage, tracks)
                      : followForwards(request, model, footage, tracks);
  } catch (const Error& error) {
    std::string reason = error.what();
    if (!tracks.shapes.empty()) {
      writeRest(request, footage, tracks);
      reason = howFar(reason, tracks, request);
    } else if (request.both_ways) {
      reason += "; nothing is written, as --both-ways needs all frames";
    }
    const auto* const interruption = dynamic_cast<const Interruption*>(&error);
    if (interruption != nullptr) throw Interruption(reason, interruption->signal);
    throw Error(reason);
  }
  writeRest(request, footage, tracks);
}

}  // namespace

Tracks track(const TrackRequest& request) {
  const Model model = loadModel(request);
  const KnownShapes known = readKnown(request, model);
  checkOutputs(request, model);
  Footage footage(request.frames, known);

  Tracks tracks;
  tracks.names = model.pointNames();
  follow(request, model, footage, tracks);
  say(summaryOf(tracks));
  return tracks;
}

void addTrack(CLI::App& app) {
  struct Options {
    TrackRequest request;
    std::string sequence;
    std::vector<std::string> images;
    std::string init;
    std::string corrections;
    std::string steps;
  };
  auto options = std::make_shared<Options>();
  TrackRequest& request = options->request;
  CLI::App* const verb = app.add_subcommand("track", "Track a model's points through frames");
  verb->add_option("model", request.model, "Folder of the model")->required()->type_name("FOLDER");
  verb->add_option("images", options->images,
                   "Image files, in order; they count as frames 0, 1, 2 ...")
      ->type_name("FILE");
  verb->add_option("--sequence", options->sequence,
                   "Frames instead of image files; without a count, all there are")
      ->type_name("BASE:START[:COUNT]");
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
    if (options->sequence.empty() && options->images.empty()) {
      throw CLI::RequiredError("--sequence or image files");
    }
    if (!options->sequence.empty() && !options->images.empty()) {
      throw Misuse("--sequence and image files exclude each other");
    }
    asked.init = parseNumberedFile(options->init);
    asked.corrections = parseNumberedFile(options->corrections);
    if (!options->steps.empty()) asked.steps = parseSteps(options->steps);
    if (!options->sequence.empty()) asked.frames = listSequence(parseSequence(options->sequence));
    for (std::size_t i = 0; i < options->images.size(); ++i) {
      asked.frames.push_back({static_cast<int>(i), options->images[i]});
    }
    track(asked);
  });
}

}  // namespace remora::tools
