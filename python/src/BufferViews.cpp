#include "BufferViews.hpp"

#include <string>

namespace kelvora::python {

namespace {

// Struct-module format codes of the element types, without a byte-order
// prefix; '@', '=' and, on a little-endian machine, '<' mean native order.
template <class T>
constexpr char kFormatCode = 0;
template <>
constexpr char kFormatCode<uint16_t> = 'H';
template <>
constexpr char kFormatCode<uint32_t> = 'I';
template <>
constexpr char kFormatCode<float> = 'f';

template <class T>
constexpr const char* kTypeName = "";
template <>
constexpr const char* kTypeName<uint16_t> = "uint16";
template <>
constexpr const char* kTypeName<uint32_t> = "uint32";
template <>
constexpr const char* kTypeName<float> = "float32";

bool isNativeOrderPrefix(char c) {
  const bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  return c == '@' || c == '=' || (c == '<' && littleEndian) || (c == '>' && !littleEndian);
}

template <class T>
bool holdsElementsOf(const py::buffer_info& info) {
  const std::string& f = info.format;
  const std::string code = (f.size() == 2 && isNativeOrderPrefix(f[0])) ? f.substr(1) : f;
  return info.itemsize == static_cast<py::ssize_t>(sizeof(T)) && code.size() == 1 &&
         code[0] == kFormatCode<T>;
}

bool isCContiguous(const py::buffer_info& info) {
  py::ssize_t expected = info.itemsize;
  for (py::ssize_t d = info.ndim - 1; d >= 0; --d) {
    const auto i = static_cast<size_t>(d);
    if (info.shape[i] > 1 && info.strides[i] != expected) return false;
    expected *= info.shape[i];
  }
  return true;
}

bool shapeMatches(const py::buffer_info& info, const std::vector<py::ssize_t>& shape) {
  if (info.ndim != static_cast<py::ssize_t>(shape.size())) return false;
  for (size_t i = 0; i < shape.size(); ++i) {
    if (shape[i] != kAnyExtent && info.shape[i] != shape[i]) return false;
  }
  return true;
}

}  // namespace

std::string shapeText(const std::vector<py::ssize_t>& shape) {
  std::string text = "(";
  for (size_t i = 0; i < shape.size(); ++i) {
    text += (i == 0 ? "" : ", ") + (shape[i] == kAnyExtent ? "F" : std::to_string(shape[i]));
  }
  return text + (shape.size() == 1 ? ",)" : ")");
}

template <class T>
bool holdsElements(const py::buffer_info& info, const std::vector<py::ssize_t>& shape) {
  return holdsElementsOf<T>(info) && shapeMatches(info, shape) && isCContiguous(info);
}

template <class T>
bool viewElements(py::handle object, const std::vector<py::ssize_t>& shape, py::buffer_info& view) {
  if (!PyObject_CheckBuffer(object.ptr())) return false;
  auto* buffer = new Py_buffer();
  if (PyObject_GetBuffer(object.ptr(), buffer, PyBUF_STRIDES | PyBUF_FORMAT) != 0) {
    delete buffer;
    PyErr_Clear();
    return false;
  }
  py::buffer_info info(buffer);  // releases and deletes the buffer
  if (!holdsElements<T>(info, shape)) return false;
  view = std::move(info);
  return true;
}

template <class T>
T* checkedElements(const py::buffer_info& info, const std::vector<py::ssize_t>& shape,
                   const char* what) {
  if (!holdsElementsOf<T>(info)) {
    throw py::value_error(std::string(what) + " must hold " + kTypeName<T> +
                          " elements in native byte order, not format '" + info.format + "'");
  }
  if (!shapeMatches(info, shape)) {
    throw py::value_error(std::string(what) + " must have shape " + shapeText(shape) + ", not " +
                          shapeText(info.shape));
  }
  if (!isCContiguous(info)) {
    throw py::value_error(std::string(what) + " must be contiguous in C order");
  }
  return static_cast<T*>(info.ptr);
}

template uint16_t* checkedElements<uint16_t>(const py::buffer_info&,
                                             const std::vector<py::ssize_t>&, const char*);
template uint32_t* checkedElements<uint32_t>(const py::buffer_info&,
                                             const std::vector<py::ssize_t>&, const char*);
template float* checkedElements<float>(const py::buffer_info&, const std::vector<py::ssize_t>&,
                                       const char*);
template bool viewElements<uint16_t>(py::handle, const std::vector<py::ssize_t>&, py::buffer_info&);

}  // namespace kelvora::python
