#include "Bindings.hpp"
#include "kelvora/HostSupport.hpp"

namespace kelvora::python {

void bindPixelFlags(py::module_& m) {
  m.attr("PIXEL_INVALID") = static_cast<uint32_t>(PIXEL_INVALID);
  m.attr("PIXEL_SATURATED") = static_cast<uint32_t>(PIXEL_SATURATED);
  m.attr("PIXEL_INCONSISTENT") = static_cast<uint32_t>(PIXEL_INCONSISTENT);
  m.attr("PIXEL_LOW_SIGNAL") = static_cast<uint32_t>(PIXEL_LOW_SIGNAL);
  m.attr("PIXEL_FLYING") = static_cast<uint32_t>(PIXEL_FLYING);
  m.attr("PIXEL_MASKED") = static_cast<uint32_t>(PIXEL_MASKED);
  m.attr("PIXEL_MULTIPATH_DISTANCE") = static_cast<uint32_t>(PIXEL_MULTIPATH_DISTANCE);
  m.attr("PIXEL_MULTIPATH_AMPLITUDE") = static_cast<uint32_t>(PIXEL_MULTIPATH_AMPLITUDE);
  m.def(
      "flag_causes",
      [] {
        py::list causes;
        for (const FlagText& cause : flagCauses()) {
          causes.append(py::make_tuple(cause.value, cause.name, cause.meaning));
        }
        return causes;
      },
      "(value, name, meaning) of each cause of an invalid pixel, in bit order.");
  m.def(
      "describe_flag_word", [](uint32_t flags) { return describeFlags(flags); }, py::arg("flags"),
      "One flag word in words.");
}

}  // namespace kelvora::python
