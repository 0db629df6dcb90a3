#pragma once
// Multipath interference makes the two modulation frequencies disagree. This
// stage measures the disagreement per pixel in amplitude and in distance,
// optionally smooths each measure with a 3x3 median, and flags pixels whose
// disagreement exceeds a noise-scaled threshold with a fixed floor. The
// per-pixel parts are vector kernels (filters/MultipathFlagsKernel.hpp).
#include <cstdint>

namespace kelvora {

struct KelvoraParameter;
struct KelvoraIntermediate;
struct KelvoraOutput;

// Runs only for two-frequency intermediates with at least one of the amplitude
// and distance tests switched on. Writes mpiAmplitudeRatio and
// mpiAmplitudeNoise, may median-filter mpiAmplitudeRatio and
// distanceDifference in place (with filterScratch), and ORs 0x81 (amplitude)
// and 0x41 (distance) into the output flags. Allocates nothing.
void kelvora_flagMultipath(const KelvoraParameter* parameters, KelvoraIntermediate* intermediate,
                           KelvoraOutput* output);

// Guards only the ratio's division: a frequency-1 amplitude of exactly 0 gives
// a huge ratio rather than a division by zero.
constexpr float kMultipathRatioGuard = 1e-10f;

// The inputs and outputs of the per-pixel measures.
struct MultipathMeasureBuffers {
  const float* normAmplitude0;
  const float* normAmplitude1;
  const float* rawNoise0;
  const float* amplitude0;
  const float* rawNoise1;
  const float* amplitude1;
  float* ratio;
  float* noise;
};

// One test of a measure against its noise-scaled threshold with a floor:
// flag where |measure| > max(noise * factor, floor).
struct NoiseFloorTest {
  const float* measure;
  const float* noise;
  float factor;
  float floor;
  uint32_t flag;
};

}  // namespace kelvora
