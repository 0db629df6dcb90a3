#pragma once
// Result arrays of exactly n pixels bound into a KelvoraOutput, as a caller's
// redirected arrays may be: no padding, so under AddressSanitizer any stage
// that writes a whole vector group past the end is caught.
#include <cstdint>
#include <vector>

#include "base/KelvoraOutput.hpp"

namespace kelvora::synth {

struct OutputArrays {
  explicit OutputArrays(uint32_t pixelCount);
  // The record points into the vectors: copies would share them.
  OutputArrays(const OutputArrays&) = delete;
  OutputArrays& operator=(const OutputArrays&) = delete;

  std::vector<float> distance, noise, amplitude, intensity;
  std::vector<float> pointCloud;  // x, y, z, confidence per pixel
  std::vector<uint32_t> flags;
  KelvoraOutput output{};
};

}  // namespace kelvora::synth
