#pragma once
// The arguments of Engine.process as the engine's Input. Frames that already
// are C-ordered uint16 arrays of the engine's frame size are used in place,
// exposures and frequencies given as Python ints are read directly; anything
// else goes through the package's conversions (kelvora/_frames.py), which
// copy what can be used as it is meant and raise ValueError for the rest.
// All of it happens before the library is called.
#include <pybind11/pybind11.h>

#include <cstdint>
#include <vector>

#include "kelvora/Input.hpp"

namespace kelvora::python {

namespace py = pybind11;

class FrameSetInput {
 public:
  // `engineFrequencies` are the frequencies the engine processes, in its
  // order; `frequencies` names those of the phase blocks, or is None when
  // block i holds the engine's frequency i.
  FrameSetInput(py::handle grey, py::handle phases, py::handle exposures, py::handle temperature,
                py::handle frequencies, uint32_t width, uint32_t height,
                const std::vector<uint32_t>& engineFrequencies);

  const Input<ArrayReference, 2>& input() const { return input_; }
  // How many of the engine's frequencies the input holds.
  size_t frequencyCount() const { return frequencyCount_; }

 private:
  py::buffer_info grey_;
  py::buffer_info phases_;
  Input<ArrayReference, 2> input_;
  size_t frequencyCount_ = 0;
};

}  // namespace kelvora::python
