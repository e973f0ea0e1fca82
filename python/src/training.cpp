// Training on arrays and image files.
#include "follow/training/training.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <map>
#include <set>
#include <utility>

#include "arrays.h"
#include "follow/footage/footage.h"
#include "follow/footage/picture.h"
#include "made.h"
#include "parts.h"

namespace remora::python {
namespace {

bool isPath(const py::handle& given) {
  return py::isinstance<py::str>(given) || py::hasattr(given, "__fspath__");
}

std::string pathOf(const py::handle& given) { return given.cast<std::filesystem::path>().string(); }

GreyImage loadGrey(const std::string& file) {
  const py::gil_scoped_release others_go_on;
  return toGrey(loadPicture(file).view());
}

Example exampleOf(const py::handle& frame, const py::handle& positions, const std::string& name) {
  const std::string called = isPath(frame) ? pathOf(frame) : name;
  GreyImage image = isPath(frame) ? loadGrey(called) : toGrey(frameOf(frame, name).view);
  return {called, std::move(image), shapeOf(positions, "positions of " + called)};
}

// The frames that have positions, by their keys.
std::vector<Example> chosenExamples(const py::object& frames, const py::dict& positions) {
  std::vector<Example> examples;
  for (const auto& [number, xy] : positions) {
    const std::string name = "frame " + std::string(py::str(number));
    const py::object frame = frames[number];
    examples.push_back(exampleOf(frame, xy, name));
  }
  return examples;
}

std::map<int, py::object> numbered(const py::object& positions) {
  std::map<int, py::object> of_frames;
  if (py::isinstance<py::dict>(positions)) {
    for (const auto& [number, xy] : py::reinterpret_borrow<py::dict>(positions)) {
      of_frames.emplace(number.cast<int>(), py::reinterpret_borrow<py::object>(xy));
    }
    return of_frames;
  }
  for (const py::handle xy : positions) {
    of_frames.emplace(static_cast<int>(of_frames.size()), py::reinterpret_borrow<py::object>(xy));
  }
  return of_frames;
}

// Frames of a video that have positions, by their numbers.
std::vector<Example> videoExamples(const std::string& video, const py::object& positions) {
  const std::map<int, py::object> of_frames = numbered(positions);
  std::set<int> numbers;
  for (const auto& [number, xy] : of_frames) numbers.insert(number);
  std::vector<Example> examples;
  const py::gil_scoped_release others_go_on;
  readVideoFrames(video, numbers, [&](const FootageFrame& frame) {
    const py::gil_scoped_acquire interpreter;
    examples.push_back({frame.name, toGrey(frame.picture.view()),
                        shapeOf(of_frames.at(frame.number), "positions of " + frame.name)});
  });
  return examples;
}

std::vector<Example> examplesOf(const py::object& frames, const py::object& positions) {
  if (isPath(frames)) return videoExamples(pathOf(frames), positions);
  if (py::isinstance<py::dict>(positions)) {
    return chosenExamples(frames, py::reinterpret_borrow<py::dict>(positions));
  }
  std::vector<Example> examples;
  py::iterator xy = py::iter(positions);
  for (const py::handle frame : frames) {
    const std::string name = "frame " + std::to_string(examples.size());
    if (xy == py::iterator::sentinel()) throw Error("there are no positions for " + name);
    examples.push_back(exampleOf(frame, *xy, name));
    ++xy;
  }
  if (xy != py::iterator::sentinel()) throw Error("there are more positions than frames");
  return examples;
}

// Between two units of work the interpreter's signals are seen to, so that Ctrl-C ends the
// training.
TrainingProgress progressOf(const py::object& callback) {
  return [&callback](std::size_t done, std::size_t total) {
    const py::gil_scoped_acquire interpreter;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    return callback.is_none() || !callback(done, total).is(py::bool_(false));
  };
}

TrainingResult trainOn(const py::object& frames, const py::object& positions,
                       const std::filesystem::path& out, const py::object& progress,
                       std::vector<PointOptions> points, std::vector<float> radii,
                       std::vector<int> steps, int predictors, int generations, double scale,
                       unsigned seed, bool plain, bool force) {
  TrainingOptions options;
  options.plain = plain;
  options.radii = std::move(radii);
  options.steps = std::move(steps);
  options.predictors = predictors;
  options.generations = generations;
  options.scale = scale;
  options.seed = seed;
  options.points = std::move(points);
  options.force = force;
  const std::vector<Example> examples = examplesOf(frames, positions);
  const py::gil_scoped_release others_go_on;
  return train(examples, options, out.string(), progressOf(progress));
}

void defineOptions(py::module_& module) {
  py::class_<PointOptions> type(module, "PointOptions",
                                R"(PointOptions(name, predictors=0, placement=0, radius_factor=1.0)

One point of remora.train.

name           str, without comma, quote and control characters
predictors     in each stage and coordinate; 0: as for all points
placement      of predictors: 0 around the point, -1 below it, 1 above it
radius_factor  of the stages' radii)");
  type.def(py::init([](std::string name, int predictors, int placement, float factor) {
             return PointOptions{std::move(name), predictors, placement, factor};
           }),
           py::arg("name"), py::arg("predictors") = 0, py::arg("placement") = 0,
           py::arg("radius_factor") = 1.0F)
      .def_readwrite("name", &PointOptions::name)
      .def_readwrite("predictors", &PointOptions::predictors)
      .def_readwrite("placement", &PointOptions::placement)
      .def_readwrite("radius_factor", &PointOptions::radius_factor);
  py::implicitly_convertible<py::str, PointOptions>();
}

void defineResult(py::module_& module) {
  py::class_<Disagreement> odd(module, "Disagreement",
                               "An annotation that those of all other frames speak against.");
  odd.def_readonly("frame", &Disagreement::frame, "str: the file, or frame and its number")
      .def_readonly("point", &Disagreement::point, "int: index of the point")
      .def_readonly("distance", &Disagreement::distance, "float: from the model's place, pixels")
      .def_property_readonly(
          "place", [](const Disagreement& it) { return std::pair(it.place.x, it.place.y); },
          "(x, y): where the model has the point, pixels");

  py::class_<TrainingResult> type(module, "TrainingResult", "What remora.train returns.");
  type.def_readonly("was_there", &TrainingResult::was_there,
                    "bool: the folder held the model of this very training")
      .def_property_readonly(
          "warnings",
          [](const TrainingResult& it) {
            std::vector<std::string> lines = it.review.warnings;
            lines.insert(lines.end(), it.repeated.begin(), it.repeated.end());
            return lines;
          },
          "list[str]: what looks wrong with all annotations or frames, a line each")
      .def_property_readonly(
          "residuals",
          [](const TrainingResult& it) {
            const std::vector<double>& values = it.review.residuals;
            return py::array_t<double>(static_cast<py::ssize_t>(values.size()), values.data());
          },
          "array of N: median distance of each point from its annotations, pixels; empty of a "
          "plain model")
      .def_property_readonly(
          "hard", [](const TrainingResult& it) { return it.review.hard; },
          "list[int]: points that are much harder to tell than the others")
      .def_property_readonly(
          "disagreements", [](const TrainingResult& it) { return it.review.disagreements; },
          "list[Disagreement]: annotations to look at");
}

}  // namespace

void defineTraining(py::module_& module) {
  defineOptions(module);
  defineResult(module);
  module.def("train", &trainOn, py::arg("frames"), py::arg("positions"), py::arg("out"),
             py::arg("progress") = py::none(), py::kw_only(),
             py::arg("points") = std::vector<PointOptions>(),
             py::arg("radii") = std::vector<float>(), py::arg("steps") = std::vector<int>(),
             py::arg("predictors") = 60, py::arg("generations") = 0, py::arg("scale") = 0.0,
             py::arg("seed") = 1U, py::arg("plain") = false, py::arg("force") = false,
             R"(train(frames, positions, out, progress=None, *, points=(), radii=(), steps=(),
      predictors=60, generations=0, scale=0.0, seed=1, plain=False, force=False)
      -> remora.TrainingResult

Trains a model on annotated frames and writes it into the folder `out`. The same frames, positions
and options give the same bytes everywhere.

frames       arrays as remora.Tracker takes them, or paths of image files, read once, in order; or
             the path of a video
positions    N x 2 pixels for each frame, nan where a point is not seen; or a dict from the number
             of a frame to its positions: then only those of `frames` are used
out          path of the folder; made where it is missing
progress     called with (done, total) units of work; False ends the training with remora.Error
points       names of the points, or remora.PointOptions
radii, steps of the stages, in pixels of the canvas, and prediction steps per frame; empty: chosen
predictors   for each point, stage and coordinate
generations  of evolution; 0: chosen
scale        pixels of the canvas for a pixel of the frames; 0: chosen
seed         of all random draws
plain        a model for hosts that run its flat files with the engine alone
force        replaces a finished model of another training

Other threads run meanwhile; they must not draw from the C library's rand(). Ctrl-C, and what
`progress` raises, end it between two units; the same call goes on from there. Raises remora.Error
for positions outside of their frame and whatever else cannot be, and remora.HoldsOtherModel.)");
}

}  // namespace remora::python
