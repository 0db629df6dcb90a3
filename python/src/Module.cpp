// kelvora._kelvora: the engine through libkelvora.so's public interface, and
// the tool's file formats.
#include <pybind11/pybind11.h>

#include "Bindings.hpp"
#include "StatusErrors.hpp"
#include "kelvora/IKelvora.hpp"

PYBIND11_MODULE(_kelvora, m) {
  m.doc() = "Native part of the kelvora package; use the names the package exports.";
  m.attr("version") = kelvora::getVersion();
  kelvora::python::registerStatusErrors();
  kelvora::python::bindEngine(m);
  kelvora::python::bindPixelFlags(m);
  kelvora::python::bindRecordings(m);
  kelvora::python::bindPointClouds(m);
  kelvora::python::bindResultBlocks(m);
}
