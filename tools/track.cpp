// remora track: a model follows its points through frames.

#include "track.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "follow/canvas/scaled_frame.h"
#include "common/cascade.h"
#include "common/failure.h"
#include "follow/base/files.h"
#include "common/frames.h"
#include "follow/base/interruptions.h"
#include "common/overlay_folder.h"
#include "common/progress.h"
#include "common/streams.h"
#include "follow/base/text.h"
#include "verbs.h"

namespace remora::tools {
namespace {

// The positions that the user gives, or nothing.
std::optional<Shape> givenStart(const NumberedFile& file, std::size_t num_points) {
  if (file.name.empty()) return std::nullopt;
  const std::vector<Shape> shapes = readShapes(file.name);
  const int number = file.number.value_or(0);
  if (number < 0 || static_cast<std::size_t>(number) >= shapes.size()) {
    throw Failure(
        format("%s has no shape %d, it has %zu", file.name.c_str(), number, shapes.size()));
  }
  requireNumbers(shapes, file.name);
  const Shape& shape = shapes[static_cast<std::size_t>(number)];
  if (shape.size() != num_points) {
    throw Failure(format("%s has shapes of %zu points, the model has %zu", file.name.c_str(),
                         shape.size(), num_points));
  }
  return shape;
}

void checkStart(const Shape& start, const Frame& frame, int width, int height) {
  for (std::size_t p = 0; p < start.size(); ++p) {
    const Point& point = start[p];
    if (point.x >= 0.0 && point.x < width && point.y >= 0.0 && point.y < height) continue;
    throw Failure(format("point %zu starts at (%.2f, %.2f), outside frame %s, %d x %d", p, point.x,
                         point.y, frame.file.c_str(), width, height));
  }
}

// Follows the points from frame to frame; all frames have the size of the first one.
class Run {
 public:
  Run(const Model& model, Cascade& cascade, std::optional<Shape> start)
      : scale_(model.scale), cascade_(cascade), start_(std::move(start)) {}

  // Where the points are in the next frame, which this picture shows.
  Shape follow(const Frame& frame, const CImg<float>& picture) {
    CImg<float> image = toGrey(picture);
    if (!canvas_) begin(frame, image.width(), image.height());
    checkSize(frame, image.width(), image.height());
    image = canvas_->prepare(std::move(image));
    cascade_.track(image);
    return canvas_->toFrame(cascade_.positions());
  }

 private:
  void begin(const Frame& frame, int width, int height) {
    const ScaledFrame canvas(width, height, scale_);
    const Shape start = start_ ? *start_ : canvas.toFrame(cascade_.positions());
    checkStart(start, frame, width, height);
    if (start_) cascade_.place(canvas.fromFrame(start));
    canvas_ = canvas;
    first_ = frame.file;
  }

  void checkSize(const Frame& frame, int width, int height) const {
    if (width == canvas_->frameWidth() && height == canvas_->frameHeight()) return;
    throw Failure(format("frame %s is %d x %d, frame %s is %d x %d", frame.file.c_str(), width,
                         height, first_.c_str(), canvas_->frameWidth(), canvas_->frameHeight()));
  }

  float scale_;
  Cascade& cascade_;
  std::optional<Shape> start_;
  std::optional<ScaledFrame> canvas_;  // since the first frame
  std::string first_;
};

// Files and pictures that are written while frames are tracked.
class Outputs {
 public:
  explicit Outputs(const TrackRequest& request) {
    if (!request.csv.empty()) table_.emplace(request.csv);
    if (!request.overlay.empty()) overlay_.emplace(request.overlay);
  }

  // Writes the last frame of the tracks; `picture` is that frame.
  void add(const Tracks& tracks, const CImg<float>& picture) {
    const std::string rows = formatCsv(tracks, tracks.shapes.size() - 1);
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
  std::vector<std::string> read{modelFile(request.model)};
  if (!request.init.name.empty()) read.push_back(request.init.name);
  for (std::size_t i = 0; i < model.stages.size(); ++i) read.push_back(flatFile(request.model, i));
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
    const CImg<float> picture = loadFrame(frame.file);
    tracks.shapes.push_back(run.follow(frame, picture));
    tracks.frame_numbers.push_back(frame.number);
    outputs.add(tracks, picture);
    if (progress) progress->advance();
    if (interruption.signal() != 0) throw Interruption("interrupted", interruption.signal());
  }
}

// The message of a run that ended early.
std::string howFar(const std::string& reason, const Tracks& tracks, const TrackRequest& request) {
  return reason +
         format("; %zu of %zu frames are tracked, the last one is ", tracks.shapes.size(),
                request.frames.size()) +
         request.frames[tracks.shapes.size() - 1].file;
}

void takeSteps(const TrackRequest& request, Model& model) {
  if (request.steps.empty()) return;
  if (request.steps.size() != model.stages.size()) {
    throw Misuse(format("--steps: %zu numbers are needed, one for each stage of %s",
                        model.stages.size(), request.model.c_str()));
  }
  for (std::size_t i = 0; i < request.steps.size(); ++i) model.stages[i].steps = request.steps[i];
}

}  // namespace

Tracks track(const TrackRequest& request) {
  Model model = readModel(request.model);
  takeSteps(request, model);
  Cascade cascade(request.model, model);
  Run run(model, cascade, givenStart(request.init, cascade.numPoints()));
  checkOutputs(request, model);

  Tracks tracks;
  tracks.names = model.point_names;
  const auto writeShapes = [&] {
    if (!request.shapes.empty()) writeFile(request.shapes, formatShapes(tracks.shapes));
  };
  try {
    followAll(request, run, tracks);
  } catch (const Failure& failure) {
    if (tracks.shapes.empty()) throw;
    writeShapes();
    const std::string reason = howFar(failure.what(), tracks, request);
    const auto* const interruption = dynamic_cast<const Interruption*>(&failure);
    if (interruption != nullptr) throw Interruption(reason, interruption->signal);
    throw Failure(reason);
  }
  writeShapes();
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
  verb->add_option("--init", options->init,
                   "Start at shape k (default 0) of a shape sequence file (default: the points of "
                   "the first training frame)")
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
    separateMessages();
    if (!options->sequence.empty()) asked.frames = listSequence(parseSequence(options->sequence));
    for (std::size_t i = 0; i < options->images.size(); ++i) {
      asked.frames.push_back({static_cast<int>(i), options->images[i]});
    }
    track(asked);
  });
}

}  // namespace remora::tools
