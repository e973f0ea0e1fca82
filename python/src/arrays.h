// Arrays from and to Python. All of this wants the interpreter's lock.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

#include "follow/annotation/shape.h"
#include "follow/annotation/tracks.h"
#include "follow/footage/image.h"
#include "follow/footage/picture.h"

namespace remora::python {

namespace py = pybind11;

// A frame as the caller holds it: seen where it is, and copied only where its pixels do not lie
// beside each other. The view lives as long as the array.
struct Frame {
  py::array array;
  Image view;
};

// Throws Error, beginning with `name`, for what is no uint8 or float32 array of H x W or H x W x 1,
// 3 or 4.
Frame frameOf(const py::handle& given, const std::string& name = "a frame");

// An array of numbers with `dimensions` sides, the last one of two where `pairs`. Throws Error.
py::array_t<double> numbersOf(const py::handle& given, py::ssize_t dimensions, bool pairs,
                              const std::string& name);

// N x 2 positions. Throws Error, beginning with `name`, for anything else.
Shape shapeOf(const py::handle& given, const std::string& name);
py::array_t<double> arrayOf(const Shape& shape);
py::array_t<unsigned char> arrayOf(const Picture& picture);

// remora.TrackedShape
py::object resultOf(const TrackedShape& shape);

}  // namespace remora::python
