#pragma once
// The parts of the extension module kelvora._kelvora, each adding its names
// to the module. The package's Python layer (python/kelvora/) wraps them; the
// names here are private to it.
#include <pybind11/pybind11.h>

namespace kelvora::python {

namespace py = pybind11;

// NativeEngine as _Engine.
void bindEngine(py::module_& m);
// The pixel flag values and their causes in words.
void bindPixelFlags(py::module_& m);
// Reading and writing the tool's recording format.
void bindRecordings(py::module_& m);
// Writing point clouds as the tool's PLY files.
void bindPointClouds(py::module_& m);
// Pooled memory for result arrays (ResultBlocks.hpp).
void bindResultBlocks(py::module_& m);

}  // namespace kelvora::python
