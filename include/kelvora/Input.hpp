#pragma once
/// \file
/// \brief One frame set as handed to the engine.
#include <cstdint>

#include "kelvora/Field.hpp"

namespace kelvora {

/// \brief The four phase frames of one modulation frequency and their
/// exposure time.
/// \tparam Container ArrayHolder or ArrayReference.
template <template <class> class Container>
struct ModulationFrames {
  /// Raw frames A0..A3 taken at the four phase offsets of the illumination,
  /// each width x height unsigned 16-bit samples, row-major.
  Container<unsigned short> phaseFrames[4];
  /// Exposure time of the four frames, in the sensor's exposure unit,
  /// passed through unchanged (it scales the amplitude for the auto
  /// exposure).
  uint32_t exposureTime = 0;
};

/// \brief One frame set: a grey frame and four phase frames per modulation
/// frequency, with a temperature and one exposure time per frame group.
///
/// Only the frames' data pointers and sizes are read; the frame size is
/// fixed by the calibration's region of interest (IKelvora::getWidth() x
/// IKelvora::getHeight() samples). The processing calls refuse a frame they
/// would read that is null or shorter than that with
/// KelvoraStatus::INVALID_INPUT; a one-frequency engine never reads the
/// frames of the second frequency. The frames are read only during the
/// processing call they are handed to.
/// \tparam Container ArrayHolder (the frame set owns copies) or
///   ArrayReference (views on the caller's buffers, no copy).
/// \tparam FrequencyCount number of modulation frequencies the record has
///   room for (2 in this library).
template <template <class> class Container, uint32_t FrequencyCount>
struct Input {
  /// Sensor or illumination temperature, in the unit of the calibration's
  /// temperature coefficients (degrees Celsius).
  float temperature = 0.0f;
  /// Exposure time of the grey frame, in the sensor's exposure unit; it
  /// normalises the grey values used by the noise model and is copied into
  /// the first exposure proposal.
  uint32_t intensityExposureTime = 0;
  /// The unmodulated (grey) frame, width x height samples, row-major.
  Container<unsigned short> intensityFrame;
  /// Phase frames and exposure of each modulation frequency, in the order
  /// of FREQUENCY_1 and FREQUENCY_2.
  ModulationFrames<Container> frequencies[FrequencyCount];
};

}  // namespace kelvora
