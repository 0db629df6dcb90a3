#include "FrameSetBuffers.hpp"

#include <algorithm>
#include <string>

#include "BufferViews.hpp"

namespace kelvora::python {

namespace {

std::vector<py::ssize_t> greyShape(const tools::RecordingHeader& h) {
  return {static_cast<py::ssize_t>(h.height), static_cast<py::ssize_t>(h.width)};
}

std::vector<py::ssize_t> phasesShape(const tools::RecordingHeader& h) {
  return {static_cast<py::ssize_t>(h.frequencyCount), 4, static_cast<py::ssize_t>(h.height),
          static_cast<py::ssize_t>(h.width)};
}

}  // namespace

py::tuple copyFrameSetInto(const tools::RecordedFrameSet& frameSet,
                           const tools::RecordingHeader& header, const py::buffer& grey,
                           const py::buffer& phases) {
  const py::buffer_info greyInfo = grey.request(true);
  const py::buffer_info phasesInfo = phases.request(true);
  uint16_t* greyOut = checkedElements<uint16_t>(greyInfo, greyShape(header), "grey");
  uint16_t* phasesOut = checkedElements<uint16_t>(phasesInfo, phasesShape(header), "phases");
  const size_t n = header.pixelCount();
  std::copy_n(frameSet.grey.data(), n, greyOut);
  py::list exposures;
  exposures.append(frameSet.exposureTimes[0]);
  for (uint32_t f = 0; f < header.frequencyCount; ++f) {
    for (uint32_t k = 0; k < 4; ++k) {
      std::copy_n(frameSet.phase[f][k].data(), n, phasesOut + (4 * f + k) * n);
    }
    exposures.append(frameSet.exposureTimes[1 + f]);
  }
  return py::make_tuple(frameSet.temperature, exposures);
}

tools::RecordedFrameSet recordFrameSet(const tools::RecordingHeader& header, const py::buffer& grey,
                                       const py::buffer& phases,
                                       const std::vector<uint32_t>& exposures, float temperature) {
  const py::buffer_info greyInfo = grey.request();
  const py::buffer_info phasesInfo = phases.request();
  const uint16_t* greyIn = checkedElements<uint16_t>(greyInfo, greyShape(header), "grey");
  const uint16_t* phasesIn = checkedElements<uint16_t>(phasesInfo, phasesShape(header), "phases");
  if (exposures.size() != 1 + header.frequencyCount) {
    throw py::value_error("exposures must hold " + std::to_string(1 + header.frequencyCount) +
                          " values (grey, then one per frequency), not " +
                          std::to_string(exposures.size()));
  }
  const size_t n = header.pixelCount();
  tools::RecordedFrameSet out;
  out.temperature = temperature;
  std::copy(exposures.begin(), exposures.end(), out.exposureTimes);
  out.grey.assign(greyIn, greyIn + n);
  for (uint32_t f = 0; f < header.frequencyCount; ++f) {
    for (uint32_t k = 0; k < 4; ++k) {
      const uint16_t* frame = phasesIn + (4 * f + k) * n;
      out.phase[f][k].assign(frame, frame + n);
    }
  }
  return out;
}

}  // namespace kelvora::python
