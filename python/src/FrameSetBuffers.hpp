#pragma once
// Frame sets of the recording format moved between the tool's record
// (RecordedFrameSet) and Python arrays: a grey frame of shape (H, W) and the
// phase frames of shape (F, 4, H, W), F the number of frequencies.
#include <pybind11/pybind11.h>

#include <cstdint>
#include <vector>

#include "support/Recording.hpp"

namespace kelvora::python {

namespace py = pybind11;

// Copies `frameSet` into the caller's arrays and returns (temperature,
// exposure times: grey, then one per frequency).
py::tuple copyFrameSetInto(const tools::RecordedFrameSet& frameSet,
                           const tools::RecordingHeader& header, const py::buffer& grey,
                           const py::buffer& phases);

// The record of a frame set given as arrays, checked against the header's
// frame size and frequency count.
tools::RecordedFrameSet recordFrameSet(const tools::RecordingHeader& header, const py::buffer& grey,
                                       const py::buffer& phases,
                                       const std::vector<uint32_t>& exposures, float temperature);

}  // namespace kelvora::python
