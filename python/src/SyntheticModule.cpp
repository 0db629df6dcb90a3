// kelvora._synthetic: the synthetic camera module and scene of `kelvora synth`
// and the demo. It links its own copy of the library's internals (the
// generator reads its calibration the way the library does) and exports
// nothing but its entry point, so that copy never stands in for the engine
// of libkelvora.so.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <vector>

#include "BufferViews.hpp"
#include "FrameSetBuffers.hpp"
#include "support/SyntheticData.hpp"
#include "support/ToolError.hpp"

namespace kelvora::python {

namespace {

tools::SyntheticData generate(uint32_t width, uint32_t height,
                              const std::vector<uint32_t>& frequencies, uint32_t frames, bool noise,
                              uint32_t seed) {
  tools::SyntheticDataOptions o;
  o.calibration.width = width;
  o.calibration.height = height;
  o.calibration.frequencies = frequencies;
  o.frameSets = frames;
  o.scene.noise = noise;
  o.scene.seed = seed;
  try {
    return tools::makeSyntheticData(o);
  } catch (const tools::ToolError& e) {
    throw py::value_error(e.what());
  }
}

py::bytes calibrationBytes(const tools::SyntheticData& d) {
  return py::bytes(reinterpret_cast<const char*>(d.calibration.data()), d.calibration.size());
}

void copyTrueDistance(const tools::SyntheticData& d, const py::buffer& out) {
  const py::buffer_info info = out.request(true);
  float* distance = checkedElements<float>(
      info, {static_cast<py::ssize_t>(d.header.height), static_cast<py::ssize_t>(d.header.width)},
      "true_distance");
  std::copy(d.geometry.trueDistance.begin(), d.geometry.trueDistance.end(), distance);
}

}  // namespace

}  // namespace kelvora::python

PYBIND11_MODULE(_synthetic, m) {
  namespace py = pybind11;
  using kelvora::python::calibrationBytes;
  using kelvora::tools::SyntheticData;
  m.doc() = "Native part of kelvora.synthetic().";
  py::class_<SyntheticData>(m, "_SyntheticData", "A synthetic calibration and recording.")
      .def_property_readonly("calibration", &calibrationBytes)
      .def_property_readonly("width", [](const SyntheticData& d) { return d.header.width; })
      .def_property_readonly("height", [](const SyntheticData& d) { return d.header.height; })
      .def_property_readonly("frequencies",
                             [](const SyntheticData& d) {
                               return std::vector<uint32_t>(
                                   d.header.frequencies,
                                   d.header.frequencies + d.header.frequencyCount);
                             })
      .def_property_readonly("frame_set_count",
                             [](const SyntheticData& d) { return d.frameSets.size(); })
      .def(
          "frame_set_into",
          [](const SyntheticData& d, size_t i, const py::buffer& grey, const py::buffer& phases) {
            return kelvora::python::copyFrameSetInto(d.frameSets.at(i), d.header, grey, phases);
          },
          py::arg("index"), py::arg("grey"), py::arg("phases"))
      .def("true_distance_into", &kelvora::python::copyTrueDistance, py::arg("out"));
  m.def("generate", &kelvora::python::generate, py::arg("width"), py::arg("height"),
        py::arg("frequencies"), py::arg("frames"), py::arg("noise"), py::arg("seed"));
}
