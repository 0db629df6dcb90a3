#pragma once
// Edge-preserving smoothing of the distance image: a bilateral filter whose
// range term is a Gaussian of 2.5 times each pixel's own distance noise, so
// flat areas are averaged while steps of many noise units stay sharp.
#include <cstddef>
#include <cstdint>

namespace kelvora {

// Filters distance (metres) in place. width is also the row stride; radius 1
// selects a 3x3 kernel, 2 a 5x5 kernel. scratch (width x height floats)
// receives a copy of the unfiltered distances. Flagged pixels (non-zero flag
// word) keep their values and do not contribute to their neighbours; the
// border of width radius is not touched. A radius above 2 leaves the image
// unchanged. Reads stay inside the width x height pixels of every buffer,
// padded or not.
void filterAdaptiveNoise_arm(int width, int height, uint8_t radius, float* scratch,
                             const float* noise, const uint32_t* flags, float* distance);

// One image's buffers; width is also the row stride.
struct AdaptiveNoiseImage {
  std::size_t width;
  std::size_t height;
  const float* scratch;  // unfiltered distances
  const float* noise;
  const uint32_t* flags;
  float* distance;
};

}  // namespace kelvora
