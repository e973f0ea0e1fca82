#include "arrays.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>

#include "follow/error.h"

namespace remora::python {
namespace {

template <class Value>
using Rows = py::array_t<Value, py::array::c_style | py::array::forcecast>;

// What numpy.shape and numpy.dtype show of it.
std::string kindOf(const py::array& array) {
  return py::str("{} of {}").format(array.dtype(), array.attr("shape"));
}

bool isAligned(const py::array& array) {
  return (array.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_) != 0;
}

// Whether the rows can be walked where they are.
bool hasWholeRows(const py::array& array) {
  const py::ssize_t value = array.itemsize();
  const py::ssize_t channels = array.ndim() == 3 ? array.shape(2) : 1;
  const bool beside = array.ndim() == 2 || channels == 1 || array.strides(2) == value;
  return isAligned(array) && beside && array.strides(1) == value * channels &&
         std::abs(array.strides(0)) >= value * channels * array.shape(1);
}

template <class Value>
py::array withWholeRows(const py::array& array) {
  if (hasWholeRows(array)) return array;
  auto copy = Rows<Value>::ensure(array);
  if (!copy) throw py::error_already_set();
  return std::move(copy);
}

bool canBeFrame(const py::array& array) {
  if (array.ndim() != 2 && array.ndim() != 3) return false;
  const py::ssize_t channels = array.ndim() == 3 ? array.shape(2) : 1;
  const auto fits = [&array](int side) { return array.shape(side) <= INT_MAX / 64; };
  return fits(0) && fits(1) && (channels == 1 || channels == 3 || channels == 4);
}

}  // namespace

Frame frameOf(const py::handle& given, const std::string& name) {
  const py::array array = py::array::ensure(given);
  if (!array) throw Error(name + " is no array");
  const bool bytes = py::isinstance<py::array_t<std::uint8_t>>(array);
  if (!bytes && !py::isinstance<py::array_t<float>>(array)) {
    throw Error(name + " is " + kindOf(array) +
                ": uint8 (0 ... 255) and float32 (0 ... 1) are known");
  }
  if (!canBeFrame(array)) {
    throw Error(name + " is " + kindOf(array) + ": H x W and H x W x 3 are known");
  }
  Frame frame;
  frame.array = bytes ? withWholeRows<std::uint8_t>(array) : withWholeRows<float>(array);
  frame.view.data = frame.array.data();
  frame.view.height = static_cast<int>(frame.array.shape(0));
  frame.view.width = static_cast<int>(frame.array.shape(1));
  frame.view.row_bytes = frame.array.strides(0);
  frame.view.channels = frame.array.ndim() == 3 ? static_cast<int>(frame.array.shape(2)) : 1;
  frame.view.depth = bytes ? Image::Depth::kByte : Image::Depth::kFloat;
  return frame;
}

py::array_t<double> numbersOf(const py::handle& given, py::ssize_t dimensions, bool pairs,
                              const std::string& name) {
  auto array = Rows<double>::ensure(given);
  if (!array) throw Error(name + " are no array of numbers");
  if (array.ndim() != dimensions || (pairs && array.shape(dimensions - 1) != 2)) {
    const std::string sides = std::string(dimensions == 3 ? "F x " : "") + (pairs ? "N x 2" : "N");
    throw Error(name + " are " + kindOf(array) + ", not of " + sides);
  }
  return std::move(array);
}

Shape shapeOf(const py::handle& given, const std::string& name) {
  const py::array_t<double> array = numbersOf(given, 2, true, name);
  const auto at = array.unchecked<2>();
  Shape shape;
  for (py::ssize_t p = 0; p < at.shape(0); ++p) shape.push_back({at(p, 0), at(p, 1)});
  return shape;
}

py::array_t<double> arrayOf(const Shape& shape) {
  py::array_t<double> array({shape.size(), std::size_t{2}});
  auto at = array.mutable_unchecked<2>();
  for (py::ssize_t p = 0; p < at.shape(0); ++p) {
    at(p, 0) = shape[static_cast<std::size_t>(p)].x;
    at(p, 1) = shape[static_cast<std::size_t>(p)].y;
  }
  return array;
}

py::array_t<unsigned char> arrayOf(const Picture& picture) {
  std::vector<py::ssize_t> sides{picture.height, picture.width};
  if (picture.channels > 1) sides.push_back(picture.channels);
  py::array_t<unsigned char> array(sides);
  std::copy(picture.pixels.begin(), picture.pixels.end(), array.mutable_data());
  return array;
}

py::object resultOf(const TrackedShape& shape) {
  const auto points = static_cast<py::ssize_t>(shape.size());
  py::array_t<double> xy({points, py::ssize_t{2}});
  py::array_t<double> confidence(points);
  py::array_t<std::uint8_t> status(points);
  for (py::ssize_t p = 0; p < points; ++p) {
    const TrackedPoint& point = shape[static_cast<std::size_t>(p)];
    xy.mutable_at(p, 0) = point.x;
    xy.mutable_at(p, 1) = point.y;
    confidence.mutable_at(p) = point.confidence;
    status.mutable_at(p) = static_cast<std::uint8_t>(point.status);
  }
  return py::module_::import("remora._values").attr("TrackedShape")(xy, confidence, status);
}

}  // namespace remora::python
