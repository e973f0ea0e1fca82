// Models and trackers.
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <memory>

#include "arrays.h"
#include "follow/tracking/tracker.h"
#include "made.h"
#include "parts.h"
#include "taking_turns.h"

namespace remora::python {
namespace {

using SharedTracker = TakingTurns<Tracker>;

std::unique_ptr<SharedTracker> copyOf(SharedTracker& tracker) {
  return std::make_unique<SharedTracker>(
      tracker.run([](const Tracker& it) { return std::make_unique<Tracker>(it); }));
}

py::object next(SharedTracker& tracker, const py::object& given) {
  const Frame frame = frameOf(given);
  return resultOf(tracker.run([&frame](Tracker& it) { return it.next(frame.view); }));
}

py::object find(SharedTracker& tracker, const py::object& given) {
  const Frame frame = frameOf(given);
  return resultOf(tracker.run([&frame](Tracker& it) { return it.find(frame.view); }));
}

py::array_t<double> start(SharedTracker& tracker, const py::object& given) {
  const Shape shape = shapeOf(given, "positions");
  return arrayOf(tracker.run([&shape](Tracker& it) { return it.start(shape); }));
}

std::unique_ptr<Model> loadModel(const std::filesystem::path& folder,
                                 const std::vector<int>& steps) {
  const py::gil_scoped_release others_go_on;
  return std::make_unique<Model>(folder.string(), steps);
}

std::string describe(const Model& model) {
  return "<remora.Model of " + std::to_string(model.numPoints()) +
         (model.isPlain() ? " points, plain>" : " points>");
}

void defineModel(py::module_& module) {
  py::class_<Model> type(module, "Model", R"(Model(folder, steps=())

What remora.train wrote into a folder. Any number of trackers and threads may share one.

folder  path
steps   prediction steps per frame of each stage, in place of those the model has

Raises remora.Error for a folder that is missing, damaged or of a version that is not known.)");
  type.def(py::init(&loadModel), py::arg("folder"), py::arg("steps") = std::vector<int>())
      .def_property_readonly("point_names", &Model::pointNames, "list[str]: names of the points")
      .def_property_readonly("num_points", &Model::numPoints, "int: how many points it has")
      .def_property_readonly("num_stages", &Model::numStages, "int: how many stages it has")
      .def_property_readonly("is_plain", &Model::isPlain,
                             "bool: it knows no confidence and notices nothing that it loses")
      .def_property_readonly("files", &Model::files, "list[str]: the files it was read from")
      .def("__len__", &Model::numPoints)
      .def("__repr__", &describe);
}

void defineTracker(py::module_& module) {
  py::class_<SharedTracker> type(module, "Tracker", R"(Tracker(model, most_work=0)

Follows one shape through the frames of one sequence, in order:

    tracker = remora.Tracker(remora.Model("model"))
    for frame in frames:
        shape = tracker.next(frame)
        draw(shape.xy[shape.status == remora.Status.TRACKED])

Frames are arrays of H x W (grey) or H x W x 3 (red, green, blue), of uint8 from 0 to 255 or float32
from 0 to 1, with any strides. Positions are pixels: x goes right, y goes down, (0, 0) is the middle
of the top left pixel. Other threads run meanwhile, and threads that use one tracker take turns.
copy.copy(tracker) goes on from the same state on its own. What fails raises remora.Error and leaves
the tracker as it was.

most_work  0: a frame takes as long as it needs. 8 and more: it may take so many times the work of one
           in which the shape is where it was expected; the search of the whole picture then goes on
           in the next frames, which suits live cameras: 8 is a good choice)");
  type.def(py::init([](const Model& model, int most_work) {
             return std::make_unique<SharedTracker>(
                 std::make_unique<Tracker>(model, TrackerOptions{most_work}));
           }),
           py::arg("model"), py::arg("most_work") = 0)
      .def("start", &start, py::arg("xy"), R"(start(xy) -> array of N x 2

The points are at these N x 2 positions in the frame before the next one. A position of nan is not
known: it is placed by the others. Returns where all of them are.)")
      .def("next", &next, py::arg("frame"), R"(next(frame) -> remora.TrackedShape

Where the points are in the next frame. Without a start the shape is looked for until a frame shows
it; until then its positions are nan. A plain model starts where training saw its points first.)")
      .def("find", &find, py::arg("frame"), R"(find(frame) -> remora.TrackedShape

Looks for the shape in the whole frame, wherever it was, and goes on from there. Where it is not
found, tracking goes on as if nothing had been asked. A plain model cannot.)")
      .def(
          "correct",
          [](SharedTracker& tracker, std::size_t point, double x, double y) {
            tracker.run([=](Tracker& it) { it.correct(point, x, y); });
          },
          py::arg("point"), py::arg("x"), py::arg("y"), R"(correct(point, x, y)

In the last frame the point of this index is here, in pixels: tracking goes on from it. A shape that
is lost stays so: start() tells where it is.)")
      .def("close", &SharedTracker::close, R"(close()

Gives back what the tracker holds. It then raises remora.Error; with `with` this comes by itself.)")
      .def("__copy__", &copyOf)
      .def("__deepcopy__", [](SharedTracker& tracker, const py::dict&) { return copyOf(tracker); })
      .def("__enter__", [](const py::object& self) { return self; })
      .def("__exit__", [](SharedTracker& tracker, const py::args&) { tracker.close(); });
}

}  // namespace

void defineTracking(py::module_& module) {
  defineModel(module);
  defineTracker(module);
}

}  // namespace remora::python
