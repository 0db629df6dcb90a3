#include <string>
#include <vector>

#include "Bindings.hpp"
#include "BufferViews.hpp"
#include "support/PlyWriter.hpp"
#include "support/ToolError.hpp"

namespace kelvora::python {

void bindPointClouds(py::module_& m) {
  m.def(
      "write_ply",
      [](const std::string& path, const py::buffer& points) {
        const py::buffer_info info = points.request();
        const float* p = checkedElements<float>(info, {kAnyExtent, 4}, "points");
        std::vector<tools::PlyPoint> list(static_cast<size_t>(info.shape[0]));
        for (size_t i = 0; i < list.size(); ++i) {
          list[i] = {p[4 * i], p[4 * i + 1], p[4 * i + 2], p[4 * i + 3]};
        }
        try {
          tools::writePly(path, list);
        } catch (const tools::ToolError& e) {
          PyErr_SetString(PyExc_OSError, e.what());
          throw py::error_already_set();
        }
      },
      py::arg("path"), py::arg("points"),
      "Writes (N, 4) float32 points (x, y, z, confidence) as the tool's binary PLY.");
}

}  // namespace kelvora::python
