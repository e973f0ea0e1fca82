// remora demo: the whole way from frames to a report, on a scene that it renders.

#include <CLI/CLI.hpp>
#include <memory>

#include "evaluate.h"
#include "follow/annotation/annotation_json.h"
#include "follow/annotation/shape_files.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/footage/png_files.h"
#include "follow/render/rendering.h"
#include "output.h"
#include "progress.h"
#include "render.h"
#include "scene/scene.h"
#include "track.h"
#include "train.h"
#include "verbs.h"

namespace remora::tools {
namespace {

constexpr int kFrames = 240;
constexpr int kTrainingFrames = 120;  // the first half; the second is never seen in training
constexpr int kTrainingStep = 6;
constexpr double kLostLimit = 5.0;

// Lines between points, as an annotation file has them.
constexpr char kLines[] =
    R"([["snout", "eye-left"], ["snout", "eye-right"], ["snout", "disc-back"],
   ["disc-back", "fin-left"], ["disc-back", "fin-right"],
   ["disc-back", "saddle"], ["saddle", "tail-base"]])";

struct DemoFiles {
  explicit DemoFiles(const std::string& folder)
      : frames(folder + "/frames"),
        base(frames + "/scene"),
        truth(folder + "/truth.txt"),
        annotations(folder + "/annotations.json"),
        model(folder + "/model"),
        tracks(folder + "/tracks.csv"),
        video(folder + "/tracked.mp4"),
        pictures(folder + "/tracked"),
        report(folder + "/report.html") {}
  std::string frames, base, truth, annotations, model, tracks, video, pictures, report;
};

std::string joined(const std::vector<std::string>& pieces, const char* between = ",\n   ") {
  return CLI::detail::join(pieces, between);
}

// What an annotator would have saved: the positions in the frames that are trained on.
std::string annotationsOf(const std::vector<Shape>& shapes) {
  std::vector<std::string> points;
  for (const std::string& name : Scene::pointNames())
    points.push_back("{\"name\": \"" + name + "\"}");
  std::vector<std::string> frames;
  for (int i = 0; i < kTrainingFrames; i += kTrainingStep) {
    std::vector<std::string> positions;
    for (const Point& point : shapes[static_cast<std::size_t>(i)]) {
      positions.push_back(format("[%.3f, %.3f]", point.x, point.y));
    }
    frames.push_back(format("{\"frame\": %d, \"positions\": [", i) + joined(positions, ", ") +
                     "]}");
  }
  return format("{\"format\": \"%s\", \"version\": %d,\n \"points\": [", kAnnotationFormat,
                kAnnotationVersion) +
         joined(points) + "],\n \"lines\": " + kLines + ",\n \"frames\": [" + joined(frames) +
         "]}\n";
}

// Writes the frames, their known positions, and the annotations of some.
void renderScene(const DemoFiles& files, unsigned seed) {
  makeFolder(files.frames);
  const Scene scene(seed);
  std::vector<Shape> shapes;
  Progress progress("the scene", "frames", kFrames);
  for (int i = 0; i < kFrames; ++i) {
    const SceneFrame frame = scene.render(i);
    savePng(frame.view(), frameFile(files.base, i));
    shapes.push_back(frame.points);
    progress.advance();
  }
  writeFile(files.truth, formatShapes(shapes));
  writeFile(files.annotations, annotationsOf(shapes));
}

void trainAndTrack(const DemoFiles& files, unsigned seed) {
  TrainRequest training;
  training.sequences = {{files.base, 0, files.annotations}};
  training.model = files.model;
  training.options.seed = seed;
  training.options.force = true;
  train(training);

  TrackRequest tracking;
  tracking.model = files.model;
  tracking.footage = Footage(Sequence{files.base, 0, kFrames});
  tracking.init.name = files.truth;
  tracking.csv = files.tracks;
  track(tracking);
}

// A video, or pictures where none can be made; says which.
std::string renderTracks(const DemoFiles& files) {
  const bool is_video = canMakeVideos();
  RenderRequest rendering;
  rendering.tracks = files.tracks;
  rendering.footage = Footage(Sequence{files.base, 0, kFrames});
  rendering.output = is_video ? files.video : files.pictures;
  rendering.annotations = files.annotations;
  render(rendering);
  if (is_video) return "the video " + files.video;
  return "the pictures in " + files.pictures +
         " (a video with the program ffmpeg; on Debian: apt-get install ffmpeg)";
}

void judge(const DemoFiles& files) {
  EvaluateRequest evaluation;
  evaluation.tracks = files.tracks;
  evaluation.truth = files.truth;
  evaluation.lost = kLostLimit;
  evaluation.frames = format("%d-%d", kTrainingFrames, kFrames - 1);
  evaluate(evaluation);
  evaluation.frames.clear();
  evaluation.trained = format("0-%d/%d", kTrainingFrames - 1, kTrainingStep);
  evaluation.footage = files.base + ":0";
  evaluation.report = files.report;
  evaluation.silent = true;
  evaluate(evaluation);
}

void runDemo(const std::string& folder, unsigned seed) {
  const DemoFiles files(folder);
  makeFolder(folder);
  renderScene(files, seed);
  trainAndTrack(files, seed);
  const std::string shown = renderTracks(files);
  printData(
      format("Trained on %d of frames 0 to %d; tracked frames 0 to %d from the known positions "
             "in frame 0.\nErrors in frames %d to %d, none of which was seen in training:\n\n",
             kTrainingFrames / kTrainingStep, kTrainingFrames - 1, kFrames - 1, kTrainingFrames,
             kFrames - 1));
  judge(files);
  printData(
      format("\nLook at the report, %s, in a browser, and at %s.\nThe table of positions is "
             "%s, the model %s, what was annotated %s.\n",
             files.report.c_str(), shown.c_str(), files.tracks.c_str(), files.model.c_str(),
             files.annotations.c_str()));
}

}  // namespace

void addDemo(CLI::App& app) {
  struct Options {
    std::string folder;
    unsigned seed = 1;
  };
  auto options = std::make_shared<Options>();
  CLI::App* const verb = app.add_subcommand(
      "demo", "Render a moving scene, train on it, track it, draw and measure that");
  verb->add_option("folder", options->folder, "Folder for frames, model and results")
      ->required()
      ->type_name("FOLDER");
  verb->add_option("--seed", options->seed, "Seed of scene and training")
      ->capture_default_str()
      ->type_name("NUMBER");
  verb->callback([options] { runDemo(options->folder, options->seed); });
}

}  // namespace remora::tools
