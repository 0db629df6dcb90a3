#pragma once
#include <cstdint>

namespace kelvora {

// One frame set as delivered by the camera; frames are width x height samples.
struct KelvoraInput {
  float temperature;  // unit of the calibration's temperature coefficients
  const uint16_t* intensityFrame;
  const uint16_t* modFrames[2][4];  // per frequency, the four phase frames A0..A3
  uint32_t exposureTimes[3];        // grey frame, frequency 0, frequency 1
};

}  // namespace kelvora
