// The engine's own classes, with every index and size checked.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "arrays.h"
#include "fast_lp.h"
#include "follow/base/engine_messages.h"
#include "follow/base/files.h"
#include "follow/error.h"
#include "follow/training/joining.h"
#include "follow/training/training.h"
#include "made.h"
#include "parts.h"
#include "shape_lp_track.h"
#include "taking_turns.h"

namespace remora::python {
namespace {

using Path = std::filesystem::path;
using Grey = py::array_t<float, py::array::c_style | py::array::forcecast>;
using SharedFast = TakingTurns<FastShapeTracker>;

// Whole grey levels, smoothed as for the training of plain models.
Grey prepare(const py::object& given, bool smooth) {
  const GreyImage grey = toGrey(frameOf(given).view);
  Grey out({grey.height, grey.width});
  CImg<float> image(out.mutable_data(), static_cast<unsigned>(grey.width),
                    static_cast<unsigned>(grey.height), 1, 1, true);
  std::copy(grey.pixels.begin(), grey.pixels.end(), image.begin());
  if (smooth) image.deriche(1.0F, 0, 'x', 1).deriche(1.0F, 0, 'y', 1);
  return out;
}

CImg<float> imageOf(const py::handle& given) {
  const Grey array = Grey::ensure(given);
  if (!array || array.ndim() != 2) throw Error("an image of the engine is H x W numbers");
  if (array.size() == 0 || array.shape(0) > INT_MAX / 64 || array.shape(1) > INT_MAX / 64) {
    throw Error("an image of the engine has this many pixels: " + std::to_string(array.size()));
  }
  return {array.data(), static_cast<unsigned>(array.shape(1)),
          static_cast<unsigned>(array.shape(0))};
}

py::array_t<double> positionsOf(SharedFast& tracker) {
  return arrayOf(tracker.run([](const FastShapeTracker& it) {
    Shape shape;
    for (int p = 0; p < it.num_points; ++p) shape.push_back({it.all_pos[p][0], it.all_pos[p][1]});
    return shape;
  }));
}

void place(FastShapeTracker& tracker, const Shape& shape) {
  if (shape.size() != static_cast<std::size_t>(tracker.num_points)) {
    throw Error("the tracker has " + std::to_string(tracker.num_points) + " points, not " +
                std::to_string(shape.size()));
  }
  for (int p = 0; p < tracker.num_points; ++p) {
    const Point& at = shape[static_cast<std::size_t>(p)];
    tracker.SetPos(p, at.x, at.y);
  }
}

void setPositions(SharedFast& tracker, const py::object& given) {
  const Shape shape = shapeOf(given, "positions");
  tracker.run([&shape](FastShapeTracker& it) { place(it, shape); });
}

py::array_t<double> predict(SharedFast& tracker, const py::object& image, const py::object& start) {
  CImg<float> pixels = imageOf(image);
  if (!start.is_none()) setPositions(tracker, start);
  tracker.run([&pixels](FastShapeTracker& it) { it.Predict(pixels); });
  return positionsOf(tracker);
}

std::unique_ptr<SharedFast> readFast(const Path& file) {
  const py::gil_scoped_release others_go_on;
  requireReadable(file.string());
  EngineMessages messages;
  auto tracker = std::make_unique<FastShapeTracker>(file.c_str());
  if (tracker->num_points == 0) throw Error(messages.reason());
  return std::make_unique<SharedFast>(std::move(tracker));
}

// What a training of the engine is given, in the forms that it takes.
class Material {
 public:
  Material(const py::iterable& images, const py::object& positions) {
    for (const py::handle image : images) images_.push_back(imageOf(image));
    const py::array_t<double> xy = numbersOf(positions, 3, true, "positions");
    requireSense(xy);
    points_ = static_cast<std::size_t>(xy.shape(1));
    for (std::size_t i = 0; i < images_.size(); ++i) {
      for (std::size_t p = 0; p < points_; ++p)
        addPosition(images_[i], xy.at(i, p, 0), xy.at(i, p, 1));
    }
    for (std::size_t i = 0; i < images_.size(); ++i) {
      image_pointers_.push_back(&images_[i]);
      for (std::size_t p = 0; p < points_; ++p)
        points_of_all_.push_back(&places_[2 * (i * points_ + p)]);
    }
    for (std::size_t i = 0; i < images_.size(); ++i)
      shapes_.push_back(&points_of_all_[i * points_]);
  }

  CImg<float>** images() { return image_pointers_.data(); }
  int count() const { return static_cast<int>(images_.size()); }
  int points() const { return static_cast<int>(points_); }
  float*** positions() { return shapes_.data(); }

 private:
  void requireSense(const py::array_t<double>& xy) const {
    if (images_.empty()) throw Error("there is nothing to train on");
    for (const CImg<float>& image : images_) {
      if (!image.is_sameXY(images_[0])) throw Error("images of the engine are of one size");
    }
    const auto points = static_cast<std::size_t>(xy.shape(1));
    if (xy.shape(0) != static_cast<py::ssize_t>(images_.size()) || points == 0 ||
        points > kMostPoints) {
      throw Error("positions are not F x N x 2 for the F images");
    }
  }

  void addPosition(const CImg<float>& image, double x, double y) {
    const bool inside = x >= 0.0 && y >= 0.0 && x < image.width() && y < image.height();
    if (!inside) throw Error("a position is outside of its image");
    places_.push_back(static_cast<float>(x));
    places_.push_back(static_cast<float>(y));
  }

  std::vector<CImg<float>> images_;
  std::size_t points_ = 0;
  std::vector<float> places_;
  std::vector<CImg<float>*> image_pointers_;
  std::vector<float*> points_of_all_;
  std::vector<float**> shapes_;
};

void requireRange(double value, double least, double most, const char* what) {
  if (value >= least && value <= most) return;
  throw Error(std::string(what) + " is out of range");
}

void trainBunches(const py::iterable& images, const py::object& positions, const Path& file,
                  int direction, float radius, int predictors, int generations, unsigned seed) {
  requireRange(direction, 0, 1, "direction");
  requireRange(radius, 1.0, kLargestRadius, "radius");
  requireRange(predictors, 1, kMostPredictors, "predictors");
  requireRange(generations, 1, kMostGenerations, "generations");
  Material material(images, positions);
  const py::gil_scoped_release others_go_on;
  requireWritable(file.string());
  EngineMessages messages;  // no other thread of this module draws from rand() meanwhile
  std::srand(seed);
  ShapeLPTracker tracker(material.images(), material.count(), 1.0F, material.points(),
                         material.positions(), radius, predictors, 0, nullptr, direction,
                         generations);
  if (tracker.num_fps == 0) throw Error(messages.reason());
  for (int p = 0; p < tracker.num_fps; ++p) {
    const float* const at = material.positions()[0][p];
    tracker.fp_lp_bunch[p]->SetPos(at[0], at[1]);
  }
  NewFile whole(file.string());
  saveTracker(tracker, whole, messages);
  whole.commit();
}

void writeFlatFile(const Path& x, const Path& y, const Path& file) {
  const py::gil_scoped_release others_go_on;
  exportFlat(x.string(), y.string(), file.string());
}

void defineTracker(py::module_& engine) {
  py::class_<SharedFast> type(engine, "FastShapeTracker", R"(FastShapeTracker(file)

Tracks with a flat LP file, one step a call: points move by one weighted sum over pixels for each
coordinate, and nothing tells whether they are lost. Positions are N x 2 pixels.)");
  type.def(py::init(&readFast), py::arg("file"))
      .def_property("positions", &positionsOf, &setPositions,
                    "array of N x 2: a copy of where the points are; assign one to place them")
      .def("predict", &predict, py::arg("image"), py::arg("start") = py::none(),
           R"(predict(image, start=None) -> array of N x 2

One step of all points in an image from remora.engine.prepare, from where they are or from `start`.)")
      .def("close", &SharedFast::close, R"(close()

Gives back what the tracker holds; it then raises remora.Error.)")
      .def("__enter__", [](const py::object& self) { return self; })
      .def("__exit__", [](SharedFast& tracker, const py::args&) { tracker.close(); });
}

}  // namespace

void defineEngine(py::module_& module) {
  py::module_ engine = module.def_submodule("engine");
  defineTracker(engine);
  engine.def("prepare", &prepare, py::arg("frame"), py::arg("smooth") = true,
             R"(prepare(frame, smooth=True) -> float32 array of H x W

A frame, as remora.Tracker takes it, as the engine does: grey levels from 0 to 255, smoothed as plain
models are trained.)");
  engine.def("train_bunches", &trainBunches, py::arg("images"), py::arg("positions"),
             py::arg("file"), py::arg("direction"), py::arg("radius"), py::kw_only(),
             py::arg("predictors") = 60, py::arg("generations") = 3, py::arg("seed") = 1U,
             R"(train_bunches(images, positions, file, direction, radius, *, predictors=60,
              generations=3, seed=1)

Trains the predictors of one coordinate and writes them as a bunch file.

images       F images of remora.engine.prepare, of one size
positions    F x N x 2 pixels, all of them inside
direction    0 for x, 1 for y
radius       of the predictors around each point, pixels
predictors   for each point
generations  of evolution
seed         of all random draws

Other threads run meanwhile; they must not draw from the C library's rand(). Cannot be interrupted.)");
  engine.def("export_flat", &writeFlatFile, py::arg("x_file"), py::arg("y_file"), py::arg("file"),
             R"(export_flat(x_file, y_file, file)

Joins the bunch files of x and y into the flat LP file that FastShapeTracker reads.)");
}

}  // namespace remora::python
