// Files of tracks, annotations, shapes and pictures, as tuples of arrays: the package gives them
// names.
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "arrays.h"
#include "follow/annotation/annotations.h"
#include "follow/annotation/formats/formats.h"
#include "follow/annotation/point_names.h"
#include "follow/annotation/shape_files.h"
#include "follow/base/files.h"
#include "follow/error.h"
#include "follow/footage/picture.h"
#include "follow/footage/png_files.h"
#include "follow/report/inspection.h"
#include "parts.h"

namespace remora::python {
namespace {

using Path = std::filesystem::path;
using Names = std::vector<std::string>;
using Numbers = std::vector<int>;

FileFormat formatOf(const std::string& name) {
  const auto format = formatNamed(name);
  if (!format) throw Error("there is no format " + name);
  return *format;
}

void requireSides(bool fit, const std::string& what) {
  if (!fit) throw Error(what + ": names, frames and arrays are of differing sizes");
}

void requireNames(const Names& names) {
  for (const std::string& name : names) {
    if (!isPointName(name)) throw Error("no point can have the name \"" + name + "\"");
  }
}

// F x N x 2, from shapes of points or tracked points, all of one size.
template <class Shapes>
py::array_t<double> placesOf(const Shapes& shapes, std::size_t points) {
  py::array_t<double> xy({shapes.size(), points, std::size_t{2}});
  double* out = xy.mutable_data();
  for (const auto& shape : shapes) {
    for (const auto& point : shape) {
      *out++ = point.x;
      *out++ = point.y;
    }
  }
  return xy;
}

std::vector<Shape> shapesOf(const py::handle& given) {
  const py::array_t<double> array = numbersOf(given, 3, true, "positions");
  const auto at = array.unchecked<3>();
  std::vector<Shape> shapes(static_cast<std::size_t>(at.shape(0)));
  for (py::ssize_t f = 0; f < at.shape(0); ++f) {
    for (py::ssize_t p = 0; p < at.shape(1); ++p) {
      shapes[static_cast<std::size_t>(f)].push_back({at(f, p, 0), at(f, p, 1)});
    }
  }
  return shapes;
}

Status statusOf(double code) {
  if (code == 0.0) return Status::kTracked;
  if (code == 1.0) return Status::kOccluded;
  if (code == 2.0) return Status::kLost;
  throw Error("status is 0 (tracked), 1 (occluded) or 2 (lost)");
}

py::tuple readTrackFile(const Path& file, int first_frame) {
  const auto read = [&] {
    const py::gil_scoped_release others_go_on;
    return readTracks(file.string(), first_frame);
  };
  const Tracks tracks = read();
  const std::vector<std::size_t> sides{tracks.shapes.size(), tracks.names.size()};
  py::array_t<double> confidence(sides);
  py::array_t<std::uint8_t> status(sides);
  double* sure = confidence.mutable_data();
  std::uint8_t* code = status.mutable_data();
  for (const TrackedShape& shape : tracks.shapes) {
    for (const TrackedPoint& point : shape) {
      *sure++ = point.confidence;
      *code++ = static_cast<std::uint8_t>(point.status);
    }
  }
  return py::make_tuple(tracks.names, py::array(py::cast(tracks.frame_numbers)),
                        placesOf(tracks.shapes, tracks.names.size()), confidence, status);
}

void requireAscending(const Numbers& frames) {
  for (std::size_t i = 1; i < frames.size(); ++i) {
    if (frames[i] > frames[i - 1]) continue;
    throw Error("frame " + std::to_string(frames[i]) + " comes after frame " +
                std::to_string(frames[i - 1]));
  }
}

Tracks tracksOf(const Names& names, const Numbers& frames, const py::object& xy,
                const py::object& confidence, const py::object& status) {
  const std::vector<Shape> places = shapesOf(xy);
  const py::array_t<double> sure = numbersOf(confidence, 2, false, "confidence");
  const py::array_t<double> code = numbersOf(status, 2, false, "status");
  const auto fits = [&](const py::array& array) {
    return array.shape(0) == static_cast<py::ssize_t>(frames.size()) &&
           array.shape(1) == static_cast<py::ssize_t>(names.size());
  };
  requireSides(places.size() == frames.size() && fits(sure) && fits(code), "tracks");
  requireNames(names);
  requireAscending(frames);
  Tracks tracks{names, frames, {}};
  for (std::size_t f = 0; f < places.size(); ++f) {
    requireSides(places[f].size() == names.size(), "tracks");
    TrackedShape& shape = tracks.shapes.emplace_back();
    for (std::size_t p = 0; p < names.size(); ++p) {
      const double confident = sure.at(f, p);
      if (confident < 0.0 || confident > 1.0) throw Error("confidence is 0 ... 1, or nan");
      shape.push_back({places[f][p].x, places[f][p].y, confident, statusOf(code.at(f, p))});
    }
  }
  return tracks;
}

void writeTrackFile(const Path& file, const std::string& format, const Names& names,
                    const Numbers& frames, const py::object& xy, const py::object& confidence,
                    const py::object& status) {
  const Tracks tracks = tracksOf(names, frames, xy, confidence, status);
  const FileFormat to = formatOf(format);
  const py::gil_scoped_release others_go_on;
  writeFile(file.string(), formatPositions(positionsOf(tracks), to));
}

py::tuple readAnnotationFiles(const std::vector<Path>& paths, const std::string& format,
                              int first_frame) {
  std::vector<std::string> files;
  for (const Path& path : paths) files.push_back(path.string());
  std::optional<FileFormat> from;
  if (!format.empty()) from = formatOf(format);
  const auto read = [&] {
    const py::gil_scoped_release others_go_on;
    return importAnnotations(files, from, first_frame);
  };
  const Annotations annotations = read();
  std::vector<Shape> shapes;
  Numbers numbers;
  std::vector<std::string> images;
  for (const AnnotatedFrame& frame : annotations.frames) {
    shapes.push_back(frame.points);
    numbers.push_back(frame.number);
    images.push_back(frame.file);
  }
  return py::make_tuple(annotations.names, py::array(py::cast(numbers)),
                        placesOf(shapes, annotations.names.size()), images);
}

void writeAnnotationFile(const Path& file, const std::string& format, const Names& names,
                         const Numbers& frames, const py::object& xy,
                         const std::vector<std::string>& images) {
  const std::vector<Shape> shapes = shapesOf(xy);
  requireSides(shapes.size() == frames.size() && (images.empty() || images.size() == frames.size()),
               "annotations");
  requireNames(names);
  Annotations annotations{names, {}, false};
  for (std::size_t f = 0; f < shapes.size(); ++f) {
    requireSides(shapes[f].size() == names.size(), "annotations");
    annotations.frames.push_back({frames[f], images.empty() ? "" : images[f], shapes[f]});
  }
  normalise(annotations, "annotations");
  const auto by_name = formatByName(file.string());
  if (format.empty() && !by_name) throw Error(file.string() + ": its name tells no format");
  const FileFormat to = format.empty() ? *by_name : formatOf(format);
  const py::gil_scoped_release others_go_on;
  writeFile(file.string(), formatPositions(positionsOf(annotations), to));
}

py::array_t<double> readShapeFile(const Path& file) {
  const std::vector<Shape> shapes = readShapes(file.string());
  return placesOf(shapes, shapes.empty() ? 0 : shapes[0].size());
}

void writeShapeFile(const py::object& xy, const Path& file) {
  const std::vector<Shape> shapes = shapesOf(xy);
  if (shapes.empty() || shapes[0].empty()) throw Error("there are no positions to write");
  writeFile(file.string(), formatShapes(shapes));
}

py::array_t<unsigned char> loadPictureFile(const Path& file) {
  const auto load = [&] {
    const py::gil_scoped_release others_go_on;
    return loadPicture(file.string());
  };
  return arrayOf(load());
}

void savePngFile(const py::object& given, const Path& file) {
  Frame frame = frameOf(given);
  if (frame.view.depth != Image::Depth::kByte) throw Error("PNG files are written of uint8");
  frame.array = py::array_t<unsigned char, py::array::c_style>::ensure(frame.array);
  frame.view.data = frame.array.data();
  frame.view.row_bytes = 0;
  requireSense(frame.view);
  const py::gil_scoped_release others_go_on;
  savePng(frame.view, file.string());
}

std::string describeFile(const Path& file) {
  const py::gil_scoped_release others_go_on;
  return describe(file.string());
}

}  // namespace

void defineFiles(py::module_& module) {
  module.def("read_tracks", &readTrackFile);
  module.def("write_tracks", &writeTrackFile);
  module.def("read_annotations", &readAnnotationFiles);
  module.def("write_annotations", &writeAnnotationFile);
  module.def("read_shapes", &readShapeFile, py::arg("file"),
             R"(read_shapes(file) -> array of F x N x 2

Positions of a shape sequence file, pixels; nan where a point is not seen.)");
  module.def("write_shapes", &writeShapeFile, py::arg("xy"), py::arg("file"),
             R"(write_shapes(xy, file)

Writes F x N x 2 positions, in pixels, as a shape sequence file.)");
  module.def("load_picture", &loadPictureFile, py::arg("file"),
             R"(load_picture(file) -> uint8 array of H x W or H x W x 3

Reads an image file as grey or as red, green and blue, 0 ... 255.)");
  module.def("save_png", &savePngFile, py::arg("picture"), py::arg("file"),
             R"(save_png(picture, file)

Writes a uint8 array of H x W or H x W x 3.)");
  module.def("describe", &describeFile, py::arg("file"), R"(describe(file) -> str

What a model folder or a file of the engine holds, in some lines.)");
}

}  // namespace remora::python
