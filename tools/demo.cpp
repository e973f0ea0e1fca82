// remora demo: renders a scene, trains on some of its frames, tracks all of them and says how well.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "follow/annotation/recording.h"
#include "follow/annotation/shape_files.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/footage/png_files.h"
#include "follow/report/evaluation.h"
#include "output.h"
#include "progress.h"
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

struct DemoFiles {
  explicit DemoFiles(const std::string& folder)
      : frames(folder + "/frames"),
        base(frames + "/scene"),
        truth(folder + "/truth.txt"),
        configuration(folder + "/training.cfg"),
        points(folder + "/points.txt"),
        model(folder + "/model"),
        tracks(folder + "/tracks.csv"),
        overlay(folder + "/overlay") {}
  std::string frames, base, truth, configuration, points, model, tracks, overlay;
};

// Writes the frames, their known positions, a training configuration and the points' names.
void renderScene(const DemoFiles& files, unsigned seed) {
  makeFolder(files.frames);
  const Scene scene(seed);
  std::vector<Shape> shapes;
  Progress progress("rendering", "frames", kFrames);
  for (int i = 0; i < kFrames; ++i) {
    const SceneFrame frame = scene.render(i);
    savePng(frame.view(), frameFile(files.base, i));
    shapes.push_back(frame.points);
    progress.advance();
  }
  writeFile(files.truth, formatShapes(shapes));
  writeFile(files.configuration, "1\r\n" + files.base + "\r\n0\r\n" + files.truth + "\r\n");
  std::string names;
  for (const std::string& name : Scene::pointNames()) names += name + "\n";
  writeFile(files.points, names);
}

void runDemo(const std::string& folder, unsigned seed) {
  const DemoFiles files(folder);
  makeFolder(folder);
  renderScene(files, seed);

  TrainRequest training;
  training.config = files.configuration;
  training.points = files.points;
  training.model = files.model;
  training.frames = {{0, kTrainingFrames - 1, kTrainingStep}};
  training.options.seed = seed;
  training.options.force = true;
  train(training);

  TrackRequest tracking;
  tracking.model = files.model;
  tracking.footage = Footage(Sequence{files.base, 0, kFrames});
  tracking.init.name = files.truth;
  tracking.csv = files.tracks;
  tracking.overlay = files.overlay;
  track(tracking);
  const Tracks tracks = readTracks(files.tracks, 0);

  const Truth truth{readOneRecording(files.truth), {}};
  const FrameRange unseen{kTrainingFrames, kFrames - 1};
  const Evaluation evaluation = evaluate(tracks, truth, kLostLimit, {unseen});
  printData(
      format("Trained on %d of frames 0 to %d; tracked frames 0 to %d from the known positions "
             "in frame 0.\nErrors in frames %d to %d, none of which was seen in training:\n\n",
             kTrainingFrames / kTrainingStep, kTrainingFrames - 1, kFrames - 1, unseen.first,
             unseen.last) +
      formatTable(evaluation) +
      format(
          "\nLook at the pictures in %s; the table of positions is %s, the model %s.\n"
          "Videos are tracked as these frames were, where there is the program ffmpeg (on Debian: "
          "apt-get install ffmpeg).\n",
          files.overlay.c_str(), files.tracks.c_str(), files.model.c_str()));
}

}  // namespace

void addDemo(CLI::App& app) {
  struct Options {
    std::string folder;
    unsigned seed = 1;
  };
  auto options = std::make_shared<Options>();
  CLI::App* const verb =
      app.add_subcommand("demo", "Render a moving scene, train on it, track it and measure");
  verb->add_option("folder", options->folder, "Folder for frames, model and results")
      ->required()
      ->type_name("FOLDER");
  verb->add_option("--seed", options->seed, "Seed of scene and training")
      ->capture_default_str()
      ->type_name("NUMBER");
  verb->callback([options] { runDemo(options->folder, options->seed); });
}

}  // namespace remora::tools
