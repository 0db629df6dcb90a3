#pragma once
// The engine as the Python package drives it: one IKelvora made by
// getKelvora, writing each frame set's per-pixel results straight into new
// memory for that frame set, so results cost no copy and stay valid after
// the next call.
//
// Between calls the engine keeps the addresses of the last results, which
// may by then be released. It writes results only inside process(), which
// first redirects it to that call's own memory unless all six addresses
// already are those (memory handed out again by the pool), so released
// memory is never written.
//
// The interpreter lock is released while the library works, so engines run in
// parallel on Python threads. A lock per engine keeps two threads off one
// engine; it is only ever taken with the interpreter lock released, so a
// thread waiting for it never holds up the thread that has it.
#include <pybind11/pybind11.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "ResultBlocks.hpp"
#include "kelvora/Configuration.hpp"
#include "kelvora/IKelvora.hpp"

namespace kelvora::python {

namespace py = pybind11;

class NativeEngine {
 public:
  // Throws StatusError (kCalibration) when the library refuses the bytes.
  explicit NativeEngine(const py::bytes& calibration);
  ~NativeEngine();
  NativeEngine(const NativeEngine&) = delete;
  NativeEngine& operator=(const NativeEngine&) = delete;

  uint32_t width() const { return width_; }
  uint32_t height() const { return height_; }
  // The modulation frequencies (Hz) the engine processes, in frame order.
  std::vector<uint32_t> frequencies() const;

  // (name, key, type, value, default, lower, upper, description) for exactly
  // the parameters the engine accepts, in key order; lower and upper are None
  // for a parameter without bounds.
  py::list parameters();

  // Sets every parameter named in `values` and reconfigures once; nothing
  // changes when any is refused. KeyError for a name the engine does not
  // accept, ValueError for a value of another type or out of bounds,
  // StatusError (kConfiguration) when the library refuses the configuration
  // (it then keeps the previous one).
  void configure(const py::dict& values);

  // One frame set, as Engine.process takes it (kelvora/_engine.py): returns
  // a kelvora.FrameResult whose arrays are the memory the engine wrote into.
  // Throws ValueError for frames, exposures or frequencies that do not fit,
  // before the library is called.
  py::object process(py::handle grey, py::handle phases, py::handle exposures,
                     py::handle temperature, py::handle frequencies);

 private:
  // Runs f with this engine to itself and the interpreter lock released; f
  // must not touch Python objects.
  template <class F>
  auto locked(F&& f);
  // What configure() changes: read again after every reconfiguration.
  void readModulationSetup();
  // The FrameResult over the blocks the engine wrote into.
  py::object frameResult(const ResultBlocks& results, uint32_t points,
                         const std::vector<uint32_t>& proposals, bool sparse, bool modulated) const;

  IKelvora* engine_ = nullptr;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  // The engine's configuration, with the redirections of the last frame set.
  std::optional<Configuration> configuration_;
  // Replaced whole under mutex_, so a reader without the lock sees one
  // setup or the next.
  std::shared_ptr<const std::vector<uint32_t>> frequencies_;
  bool sparse_ = false;
  py::object asarray_;          // numpy.asarray
  py::object frameResultType_;  // kelvora.FrameResult
  std::mutex mutex_;
  // Where the engine last wrote each result (ResultBlocks.hpp order); set
  // under mutex_, read without it.
  std::atomic<const uint8_t*> lastResults_[6] = {};
};

}  // namespace kelvora::python
