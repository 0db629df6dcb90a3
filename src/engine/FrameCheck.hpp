#pragma once
// The core reads width x height samples from every frame pointer it is given
// and cannot tell a short frame from a whole one, so the front end refuses a
// frame set with a missing or short frame before the first core call. The
// offending frame is named in the status detail: 0 for the grey frame,
// 1 + 4 x frequency + k for phase frame k of frequency 0 or 1.
#include <cstdint>

#include "kelvora/Input.hpp"
#include "kelvora/KelvoraStatus.hpp"

namespace kelvora {

constexpr uint32_t kGreyFrameNumber = 0;
constexpr uint32_t kPhaseFramesPerFrequency = 4;

constexpr uint32_t phaseFrameNumber(uint32_t frequency, uint32_t k) {
  return 1 + kPhaseFramesPerFrequency * frequency + k;
}

template <template <class> class Container>
bool holdsWholeImage(const Container<unsigned short>& frame, uint32_t pixels) {
  return frame.data() != nullptr && frame.size() >= pixels;
}

template <template <class> class Container>
KelvoraStatus checkGreyFrame(const Input<Container, 2>& input, uint32_t pixels) {
  if (holdsWholeImage(input.intensityFrame, pixels)) return KelvoraStatus{};
  return KelvoraStatus{KelvoraStatus::INVALID_INPUT, kGreyFrameNumber};
}

template <template <class> class Container>
KelvoraStatus checkPhaseFrames(const Input<Container, 2>& input, uint32_t frequency,
                               uint32_t pixels) {
  for (uint32_t k = 0; k < kPhaseFramesPerFrequency; ++k) {
    if (!holdsWholeImage(input.frequencies[frequency].phaseFrames[k], pixels)) {
      return KelvoraStatus{KelvoraStatus::INVALID_INPUT, phaseFrameNumber(frequency, k)};
    }
  }
  return KelvoraStatus{};
}

}  // namespace kelvora
