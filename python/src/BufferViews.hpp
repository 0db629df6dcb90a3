#pragma once
// Checked access to the memory of Python buffers (numpy arrays, bytes): the
// element type, the shape and C order are verified before a pointer reaches
// C++ code, so no caller can make the library read or write past an array's
// end. Only the buffer protocol is used, never numpy's C interface, so the
// modules work with any numpy version.
#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvora::python {

namespace py = pybind11;

// One dimension of an expected shape; kAnyExtent accepts any length.
constexpr py::ssize_t kAnyExtent = -1;

// The elements of `info` after checking that they are of type T (uint16_t,
// uint32_t or float in native byte order), laid out in C order with exactly
// `shape`. Throws pybind11::value_error naming `what` otherwise.
template <class T>
T* checkedElements(const py::buffer_info& info, const std::vector<py::ssize_t>& shape,
                   const char* what);

// Whether checkedElements<T> would accept `info`.
template <class T>
bool holdsElements(const py::buffer_info& info, const std::vector<py::ssize_t>& shape);

// A view of `object`'s memory when it exports a buffer of T elements in C
// order with exactly `shape`; false (and no error) otherwise.
template <class T>
bool viewElements(py::handle object, const std::vector<py::ssize_t>& shape, py::buffer_info& view);

// "(172, 224)" for messages.
std::string shapeText(const std::vector<py::ssize_t>& shape);

}  // namespace kelvora::python
