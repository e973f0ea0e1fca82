// The parts of the module, each defined in a file of its own.
#pragma once

#include <pybind11/pybind11.h>

namespace remora::python {

void defineTracking(pybind11::module_& module);
void defineTraining(pybind11::module_& module);
void defineFiles(pybind11::module_& module);
void defineEngine(pybind11::module_& module);

}  // namespace remora::python
