#pragma once
// A status the library returned, raised in Python as kelvora.CalibrationError
// or kelvora.ConfigurationError (kelvora/errors.py) with the status code, its
// name, the detail and the detail's name.
#include <pybind11/pybind11.h>

#include <stdexcept>

#include "kelvora/KelvoraStatus.hpp"

namespace kelvora::python {

namespace py = pybind11;

class StatusError : public std::runtime_error {
 public:
  // The name of the Python exception class in kelvora.errors.
  enum class Kind { kCalibration, kConfiguration };

  StatusError(Kind kind, const KelvoraStatus& status);
  Kind kind() const { return kind_; }
  const KelvoraStatus& status() const { return status_; }

 private:
  Kind kind_;
  KelvoraStatus status_;
};

// Lets pybind11 turn StatusError into the Python exceptions.
void registerStatusErrors();

}  // namespace kelvora::python
