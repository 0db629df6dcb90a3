#pragma once
// One frame set as handed to the engine. Only the frames' data pointers reach
// the core; the frame size follows from the calibration's region of interest.
#include <cstdint>

#include "kelvora/Field.hpp"

namespace kelvora {

// The four phase frames of one modulation frequency and their exposure time.
template <template <class> class Container>
struct ModulationFrames {
  Container<unsigned short> phaseFrames[4];
  uint32_t exposureTime = 0;  // sensor exposure unit, passed through unchanged
};

// Container is ArrayHolder or ArrayReference; FrequencyCount is the number of
// modulation frequencies the record has room for (2 in this library).
template <template <class> class Container, uint32_t FrequencyCount>
struct Input {
  float temperature = 0.0f;  // unit of the calibration's temperature coefficients
  uint32_t intensityExposureTime = 0;
  Container<unsigned short> intensityFrame;
  ModulationFrames<Container> frequencies[FrequencyCount];
};

}  // namespace kelvora
