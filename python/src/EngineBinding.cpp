#include <pybind11/stl.h>

#include "Bindings.hpp"
#include "NativeEngine.hpp"

namespace kelvora::python {

void bindEngine(py::module_& m) {
  py::class_<NativeEngine>(m, "_Engine", "An engine made from calibration bytes.")
      .def(py::init<const py::bytes&>(), py::arg("calibration"))
      .def_property_readonly("width", &NativeEngine::width)
      .def_property_readonly("height", &NativeEngine::height)
      .def("frequencies", &NativeEngine::frequencies)
      .def("parameters", &NativeEngine::parameters)
      .def("configure", &NativeEngine::configure, py::arg("values"))
      .def("process", &NativeEngine::process, py::arg("grey"), py::arg("phases"),
           py::arg("exposures"), py::arg("temperature"), py::arg("frequencies"));
}

}  // namespace kelvora::python
