#include "StatusErrors.hpp"

#include "kelvora/HostSupport.hpp"

namespace kelvora::python {

StatusError::StatusError(Kind kind, const KelvoraStatus& status)
    : std::runtime_error(describeStatus(status)), kind_(kind), status_(status) {}

namespace {

// The detail in words where it is a core status code (a calibration reader's
// result); None where it is a parameter key, a frame position or a count.
py::object detailName(const KelvoraStatus& status) {
  if (status.code != KelvoraStatus::CALIBRATION_ERROR) return py::none();
  return py::str(describeCoreStatus(status.detail).name);
}

void raise(const StatusError& e) {
  const py::module_ errors = py::module_::import("kelvora.errors");
  const char* className =
      e.kind() == StatusError::Kind::kCalibration ? "CalibrationError" : "ConfigurationError";
  const py::object type = errors.attr(className);
  const KelvoraStatus& s = e.status();
  const py::object error = type(e.what(), static_cast<uint32_t>(s.code),
                                describeStatusCode(s.code).name, s.detail, detailName(s));
  PyErr_SetObject(type.ptr(), error.ptr());
}

}  // namespace

void registerStatusErrors() {
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const StatusError& e) {
      raise(e);
    }
  });
}

}  // namespace kelvora::python
