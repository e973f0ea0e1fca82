// remora track: a model follows its points through frames.

#include "track.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "common/cascade.h"
#include "common/failure.h"
#include "common/files.h"
#include "common/overlay.h"
#include "common/progress.h"
#include "common/streams.h"
#include "common/text.h"
#include "verbs.h"

namespace remora::tools {
namespace {

void placePoints(Cascade& cascade, const std::string& init) {
  if (init.empty()) return;
  const NumberedFile file = parseNumberedFile(init);
  const std::vector<Shape> shapes = readShapes(file.name);
  if (file.number < 0 || static_cast<std::size_t>(file.number) >= shapes.size()) {
    throw Failure(
        format("%s has no shape %d, it has %zu", file.name.c_str(), file.number, shapes.size()));
  }
  requireNumbers(shapes, file.name);
  const Shape& shape = shapes[static_cast<std::size_t>(file.number)];
  if (shape.size() != cascade.numPoints()) {
    throw Failure(format("%s has shapes of %zu points, the model has %zu", file.name.c_str(),
                         shape.size(), cascade.numPoints()));
  }
  cascade.place(shape);
}

// Frames of a sequence have one size, and the points start inside it.
class FrameCheck {
 public:
  explicit FrameCheck(const Shape& start) : start_(start) {}

  void check(const Frame& frame, const CImg<float>& image) {
    if (first_.empty()) {
      first_ = frame.file;
      width_ = image.width();
      height_ = image.height();
      checkStart(frame);
    }
    if (image.width() == width_ && image.height() == height_) return;
    throw Failure(format("frame %s is %d x %d, frame %s is %d x %d", frame.file.c_str(),
                         image.width(), image.height(), first_.c_str(), width_, height_));
  }

 private:
  void checkStart(const Frame& frame) const {
    for (std::size_t p = 0; p < start_.size(); ++p) {
      const Point& point = start_[p];
      if (point.x >= 0.0 && point.x < width_ && point.y >= 0.0 && point.y < height_) continue;
      throw Failure(format("point %zu starts at (%.2f, %.2f), outside frame %s, %d x %d", p,
                           point.x, point.y, frame.file.c_str(), width_, height_));
    }
  }

  Shape start_;
  std::string first_;
  int width_ = 0;
  int height_ = 0;
};

std::string pictureFile(const TrackRequest& request, const Frame& frame) {
  return format("%s/%05d.png", request.overlay.c_str(), frame.number);
}

void checkOutputs(const TrackRequest& request, const Model& model) {
  std::vector<std::string> read{modelFile(request.model)};
  if (!request.init.empty()) read.push_back(parseNumberedFile(request.init).name);
  for (std::size_t i = 0; i < model.stages.size(); ++i) read.push_back(flatFile(request.model, i));
  std::vector<std::string> written;
  for (const Frame& frame : request.frames) {
    read.push_back(frame.file);
    if (!request.overlay.empty()) written.push_back(pictureFile(request, frame));
  }
  for (const std::string& file : {request.csv, request.shapes}) {
    if (!file.empty()) written.push_back(file);
  }
  requireApart(read, written);
  if (!request.csv.empty()) requireWritable(request.csv);
  if (!request.shapes.empty()) requireWritable(request.shapes);
  if (!request.overlay.empty()) makeFolder(request.overlay);
}

void drawOverlays(const TrackRequest& request, const Tracks& tracks) {
  Progress progress("drawing", "pictures", static_cast<long>(tracks.shapes.size()));
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    savePng(drawOverlay(loadFrame(request.frames[i].file), tracks, i),
            pictureFile(request, request.frames[i]));
    progress.advance();
  }
}

}  // namespace

Tracks track(const TrackRequest& request) {
  Model model = readModel(request.model);
  if (!request.steps.empty()) {
    const std::vector<int> steps = parseSteps(request.steps, model.stages.size());
    for (std::size_t i = 0; i < steps.size(); ++i) model.stages[i].steps = steps[i];
  }
  Cascade cascade(request.model, model);
  placePoints(cascade, request.init);
  checkOutputs(request, model);

  FrameCheck frames(cascade.positions());
  Tracks tracks;
  tracks.names = model.point_names;
  {
    Progress progress("tracking", "frames", static_cast<long>(request.frames.size()));
    for (const Frame& frame : request.frames) {
      CImg<float> image = loadFrame(frame.file);
      frames.check(frame, image);
      cascade.track(image);
      tracks.frame_numbers.push_back(frame.number);
      tracks.shapes.push_back(cascade.positions());
      progress.advance();
    }
  }
  if (!request.csv.empty()) writeFile(request.csv, formatCsv(tracks));
  if (!request.shapes.empty()) writeFile(request.shapes, formatShapes(tracks.shapes));
  if (!request.overlay.empty()) drawOverlays(request, tracks);
  return tracks;
}

void addTrack(CLI::App& app) {
  struct Options {
    TrackRequest request;
    std::string sequence;
    std::vector<std::string> images;
  };
  auto options = std::make_shared<Options>();
  TrackRequest& request = options->request;
  CLI::App* const verb = app.add_subcommand("track", "Track a model's points through frames");
  verb->add_option("model", request.model, "Folder of the model")->required();
  verb->add_option("images", options->images,
                   "Image files, in order; they count as frames 0, 1, 2 ...");
  verb->add_option("--sequence", options->sequence,
                   "Frames BASE:START[:COUNT]; without a count, all there are");
  verb->add_option("--init", request.init,
                   "Start at shape k (default 0) of a shape sequence file, SHAPEFILE[:k] "
                   "(default: the points of the first training frame)");
  verb->add_option("--steps", request.steps, "Prediction steps per frame of each stage, as 2,1,1");
  verb->add_option("--csv", request.csv, "Write the table to this file, not to standard output");
  verb->add_option("--shapes", request.shapes, "Also write the positions as a shape sequence file");
  verb->add_option("--overlay", request.overlay, "Also draw every frame into this folder");
  verb->callback([options] {
    TrackRequest& asked = options->request;
    if (options->sequence.empty() == options->images.empty()) {
      throw CLI::RequiredError("--sequence or image files");
    }
    separateMessages();
    if (!options->sequence.empty()) asked.frames = listSequence(options->sequence);
    for (std::size_t i = 0; i < options->images.size(); ++i) {
      asked.frames.push_back({static_cast<int>(i), options->images[i]});
    }
    const Tracks tracks = track(asked);
    if (asked.csv.empty()) printData(formatCsv(tracks));
  });
}

}  // namespace remora::tools
