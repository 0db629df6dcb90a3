#include "FrameSetInput.hpp"

#include <pybind11/stl.h>

#include <algorithm>
#include <string>

#include "BufferViews.hpp"

namespace kelvora::python {

namespace {

py::object conversion(const char* name) {
  return py::module_::import("kelvora._frames").attr(name);
}

// A view of frames of `shape`, converted by the package when the object is
// not such an array already.
py::buffer_info frameView(py::handle frames, const std::vector<py::ssize_t>& shape,
                          const char* what) {
  py::buffer_info view;
  if (viewElements<uint16_t>(frames, shape, view)) return view;
  py::tuple wanted(shape.size());
  for (size_t i = 0; i < shape.size(); ++i) {
    wanted[i] = shape[i] == kAnyExtent ? py::object(py::none()) : py::object(py::int_(shape[i]));
  }
  const py::object converted = conversion("uint16_frames")(frames, what, wanted);
  view = converted.cast<py::buffer>().request();
  checkedElements<uint16_t>(view, shape, what);
  return view;
}

// The unsigned 32-bit value of an exact Python int, or false.
bool exactUnsigned(py::handle item, uint32_t& value) {
  if (!PyLong_CheckExact(item.ptr())) return false;
  const unsigned long v = PyLong_AsUnsignedLong(item.ptr());
  if (PyErr_Occurred() != nullptr) {
    PyErr_Clear();
    return false;
  }
  if (v > 0xFFFFFFFFul) return false;
  value = static_cast<uint32_t>(v);
  return true;
}

// Exact Python ints in a tuple or list of `count` items, or false.
bool exactUnsignedList(py::handle sequence, size_t count, std::vector<uint32_t>& values) {
  if (!PyTuple_CheckExact(sequence.ptr()) && !PyList_CheckExact(sequence.ptr())) return false;
  const py::sequence items = py::reinterpret_borrow<py::sequence>(sequence);
  if (items.size() != count) return false;
  values.resize(count);
  for (size_t i = 0; i < count; ++i) {
    if (!exactUnsigned(items[i], values[i])) return false;
  }
  return true;
}

std::vector<uint32_t> exposureTimes(py::handle exposures, size_t count) {
  std::vector<uint32_t> values;
  if (exactUnsignedList(exposures, count, values)) return values;
  return conversion("exposure_times")(exposures, count).cast<std::vector<uint32_t>>();
}

float temperatureValue(py::handle temperature) {
  if (PyFloat_CheckExact(temperature.ptr())) {
    return static_cast<float>(PyFloat_AS_DOUBLE(temperature.ptr()));
  }
  return static_cast<float>(conversion("temperature_value")(temperature).cast<double>());
}

// For each of the engine's frequencies, the index of its phase block.
std::vector<uint32_t> phaseBlocks(const std::vector<uint32_t>& engine, size_t blockCount,
                                  py::handle frequencies) {
  std::vector<uint32_t> blocks;
  if (frequencies.is_none()) {
    if (blockCount >= engine.size()) {
      for (uint32_t i = 0; i < engine.size(); ++i) blocks.push_back(i);
      return blocks;
    }
  } else {
    std::vector<uint32_t> given;
    if (exactUnsignedList(frequencies, blockCount, given)) {
      for (uint32_t hz : engine) {
        const auto at = std::find(given.begin(), given.end(), hz);
        if (at == given.end()) break;
        blocks.push_back(static_cast<uint32_t>(at - given.begin()));
      }
      if (blocks.size() == engine.size()) return blocks;
    }
  }
  // Lets the package say what does not fit, or read frequencies of other
  // integer types.
  const py::tuple engineTuple = py::cast(engine);
  return conversion("frequency_blocks")(engineTuple, blockCount, frequencies)
      .cast<std::vector<uint32_t>>();
}

}  // namespace

FrameSetInput::FrameSetInput(py::handle grey, py::handle phases, py::handle exposures,
                             py::handle temperature, py::handle frequencies, uint32_t width,
                             uint32_t height, const std::vector<uint32_t>& engineFrequencies) {
  const auto h = static_cast<py::ssize_t>(height);
  const auto w = static_cast<py::ssize_t>(width);
  grey_ = frameView(grey, {h, w}, "grey");
  phases_ = frameView(phases, {kAnyExtent, 4, h, w}, "phases");
  const auto blockCount = static_cast<size_t>(phases_.shape[0]);
  const std::vector<uint32_t> exposureList = exposureTimes(exposures, 1 + blockCount);
  const std::vector<uint32_t> blocks = phaseBlocks(engineFrequencies, blockCount, frequencies);
  if (blocks.size() != engineFrequencies.size() || blocks.size() > 2) {
    throw py::value_error("the phase blocks do not match the engine's frequencies");
  }
  const uint32_t n = width * height;
  auto* greyFrame = static_cast<uint16_t*>(grey_.ptr);
  auto* phaseFrames = static_cast<uint16_t*>(phases_.ptr);
  input_.temperature = temperatureValue(temperature);
  input_.intensityExposureTime = exposureList[0];
  input_.intensityFrame = ArrayReference<unsigned short>(greyFrame, n);
  for (size_t f = 0; f < blocks.size(); ++f) {
    if (blocks[f] >= blockCount) throw py::value_error("phases holds too few frequencies");
    for (uint32_t k = 0; k < 4; ++k) {
      input_.frequencies[f].phaseFrames[k] =
          ArrayReference<unsigned short>(phaseFrames + (size_t{4} * blocks[f] + k) * n, n);
    }
    input_.frequencies[f].exposureTime = exposureList[1 + blocks[f]];
  }
  frequencyCount_ = blocks.size();
}

}  // namespace kelvora::python
