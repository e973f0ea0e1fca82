// remora track: a model follows its points through frames.

#include "track.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "follow/annotation/shape_files.h"
#include "follow/base/files.h"
#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/report/overlay_folder.h"
#include "follow/tracking/tracker.h"
#include "output.h"
#include "progress.h"
#include "verbs.h"

namespace remora::tools {
namespace {

// The positions that the user gives, or nothing.
std::optional<Shape> givenStart(const NumberedFile& file, std::size_t num_points) {
  if (file.name.empty()) return std::nullopt;
  const std::vector<Shape> shapes = readShapes(file.name);
  const int number = file.number.value_or(0);
  if (number < 0 || static_cast<std::size_t>(number) >= shapes.size()) {
    throw Error(format("%s has no shape %d, it has %zu", file.name.c_str(), number, shapes.size()));
  }
  requireNumbers(shapes, file.name);
  const Shape& shape = shapes[static_cast<std::size_t>(number)];
  if (shape.size() != num_points) {
    throw Error(format("%s has shapes of %zu points, the model has %zu", file.name.c_str(),
                       shape.size(), num_points));
  }
  return shape;
}

void checkStart(const Shape& start, const Frame& frame, const Picture& picture) {
  for (std::size_t p = 0; p < start.size(); ++p) {
    const Point& point = start[p];
    const bool inside =
        point.x >= 0.0 && point.x < picture.width && point.y >= 0.0 && point.y < picture.height;
    if (inside) continue;
    throw Error(format("point %zu starts at (%.2f, %.2f), outside frame %s, %d x %d", p, point.x,
                       point.y, frame.file.c_str(), picture.width, picture.height));
  }
}

// Follows the points from frame to frame; all frames have the size of the first one.
class Run {
 public:
  Run(const Model& model, std::optional<Shape> start) : tracker_(model), start_(std::move(start)) {}

  // Where the points are in the next frame, which this picture shows. In the first one they are
  // where they were given.
  TrackedShape follow(const Frame& frame, const Picture& picture) {
    const bool is_first = first_.file.empty();
    if (is_first) {
      first_ = frame;
      width_ = picture.width;
      height_ = picture.height;
    }
    checkSize(frame, picture);
    if (!is_first || !start_) return next(frame, picture);
    checkStart(*start_, frame, picture);
    tracker_.start(*start_);
    return asKnown(*start_);
  }

 private:
  TrackedShape next(const Frame& frame, const Picture& picture) {
    try {
      return tracker_.next(picture.view());
    } catch (const Error& error) {
      throw Error("frame " + frame.file + ": " + error.what());
    }
  }

  void checkSize(const Frame& frame, const Picture& picture) const {
    if (picture.width == width_ && picture.height == height_) return;
    throw Error(format("frame %s is %d x %d, frame %s is %d x %d", frame.file.c_str(),
                       picture.width, picture.height, first_.file.c_str(), width_, height_));
  }

  Tracker tracker_;
  std::optional<Shape> start_;
  Frame first_{0, ""};
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
    if (overlay_) overlay_->add(picture, tracks);
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
  if (!request.init.name.empty()) read.push_back(request.init.name);
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

// Rows on a terminal are a sign of progress themselves.
bool showsProgress(const TrackRequest& request) { return !request.csv.empty() || !isTerminal(); }

// Tracks frame by frame until the last one or an interruption.
void followAll(const TrackRequest& request, Run& run, Tracks& tracks) {
  Outputs outputs(request);
  const NotedInterruption interruption;
  std::optional<Progress> progress;
  if (showsProgress(request)) {
    progress.emplace("tracking", "frames", static_cast<long>(request.frames.size()));
  }
  for (const Frame& frame : request.frames) {
    const Picture picture = loadPicture(frame.file);
    tracks.shapes.push_back(run.follow(frame, picture));
    tracks.frame_numbers.push_back(frame.number);
    outputs.add(tracks, picture);
    if (progress) progress->advance();
    if (interruption.signal() != 0) throw Interruption("interrupted", interruption.signal());
  }
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

// The message of a run that ended early.
std::string howFar(const std::string& reason, const Tracks& tracks, const TrackRequest& request) {
  return reason +
         format("; %zu of %zu frames are done, the last one is %s; ", tracks.shapes.size(),
                request.frames.size(), request.frames[tracks.shapes.size() - 1].file.c_str()) +
         summaryOf(tracks);
}

}  // namespace

Tracks track(const TrackRequest& request) {
  const Model model = loadModel(request);
  Run run(model, givenStart(request.init, model.numPoints()));
  checkOutputs(request, model);

  Tracks tracks;
  tracks.names = model.pointNames();
  const auto writeShapes = [&] {
    if (!request.shapes.empty()) writeFile(request.shapes, formatShapes(tracks));
  };
  try {
    followAll(request, run, tracks);
  } catch (const Error& error) {
    if (tracks.shapes.empty()) throw;
    writeShapes();
    const std::string reason = howFar(error.what(), tracks, request);
    const auto* const interruption = dynamic_cast<const Interruption*>(&error);
    if (interruption != nullptr) throw Interruption(reason, interruption->signal);
    throw Error(reason);
  }
  writeShapes();
  say(summaryOf(tracks));
  return tracks;
}

void addTrack(CLI::App& app) {
  struct Options {
    TrackRequest request;
    std::string sequence;
    std::vector<std::string> images;
    std::string init;
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
          "The first frame shows shape k (default 0) of a shape sequence file (default: it is "
          "found in the first frame that shows it; a plain model starts where training "
          "saw it first)")
      ->type_name("SHAPEFILE[:k]");
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
    if (!options->steps.empty()) asked.steps = parseSteps(options->steps);
    if (!options->sequence.empty()) asked.frames = listSequence(parseSequence(options->sequence));
    for (std::size_t i = 0; i < options->images.size(); ++i) {
      asked.frames.push_back({static_cast<int>(i), options->images[i]});
    }
    track(asked);
  });
}

}  // namespace remora::tools
