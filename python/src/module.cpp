// remora._remora: what the Python package remora is made of.
#include <pybind11/pybind11.h>

#include "follow/error.h"
#include "follow/training/training.h"
#include "parts.h"

namespace py = pybind11;

namespace {

// Where readers find what is in a module.
void tellHome(const py::module_& module, const char* home) {
  for (const auto& [name, it] : py::dict(module.attr("__dict__"))) {
    if (py::hasattr(it, "__module__")) py::setattr(it, "__module__", py::str(home));
  }
}

}  // namespace

PYBIND11_MODULE(_remora, module) {
  py::options options;
  options.disable_function_signatures();  // the texts below begin with their own
  module.attr("__version__") = REMORA_VERSION;

  auto& error = py::register_exception<remora::Error>(module, "Error", PyExc_RuntimeError);
  error.attr("__doc__") =
      "What goes wrong, in one line that names the file, the place and the reason.";
  auto& other =
      py::register_exception<remora::HoldsOtherModel>(module, "HoldsOtherModel", error.ptr());
  other.attr("__doc__") = "The folder holds the finished model of another training.";

  remora::python::defineTracking(module);
  remora::python::defineTraining(module);
  remora::python::defineFiles(module);
  remora::python::defineEngine(module);
  tellHome(module, "remora");
  tellHome(module.attr("engine"), "remora.engine");
}
