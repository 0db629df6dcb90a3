#pragma once
// The stages the combine driver runs itself: wrapping a single frequency's
// distance into its range, the noise test, the flying-pixel test and image
// validation. The first three have vector kernels (core/WrapDistanceKernel.hpp,
// core/NoiseFlagKernel.hpp, core/FlyingPixelKernel.hpp).
#include <cstdint>

namespace kelvora {

struct KelvoraParameter;
struct KelvoraCalibration;
struct KelvoraIntermediate;
struct KelvoraOutput;

// out[i] = in[i] - floor(in[i] / range) * range, i.e. into [0, range).
// Only n values are written: out may be a caller's array of exactly n.
void wrapSingleFrequencyDistance(uint32_t n, const float* in, float range, float* out);

// ORs kLowSignal into every pixel whose noise exceeds the threshold.
void flagNoise(uint32_t n, const float* noise, float threshold, uint32_t* flagsOut);

// Flags pixels that stand out from both horizontal or both vertical
// neighbours by more than a distance-dependent limit. Borders are not tested.
void flagFlyingPixels(const KelvoraParameter& parameters, const float* distance,
                      uint32_t* flagsOut);

// Clears every flagged pixel's results and collapses its flags to kInvalid.
void validateImage(const KelvoraParameter& parameters, KelvoraOutput& output);

// The flying-pixel limit: f0 up to nearDist (metres), f1 from farDist on,
// linear in between.
struct FlyingPixelLimits {
  float nearDist;
  float farDist;
  float f0;
  float f1;
};

// Everything the combine stage does per pixel after the multipath tests, in
// one sweep: the noise test, the flying-pixel test (if flagFlyingPixels), the
// point cloud, the copy of amplitudeIn to amplitudeOut (if amplitudeIn is
// set) and image validation (if validate), with the results of running them
// one after the other in that order. Every buffer holds width x height pixels
// (directions three floats, cloud four floats per pixel). Returns the number
// of floats a sparse cloud received.
struct FinishImage {
  uint32_t width;
  uint32_t height;
  float noiseThreshold;
  bool flagFlyingPixels;
  FlyingPixelLimits limits;
  bool sparseCloud;
  bool validate;
  const float* directions;
  const float* amplitudeIn;
  float* amplitudeOut;
  float* distance;
  float* noise;
  uint32_t* flags;
  float* cloud;
};
uint32_t finishImage(const FinishImage& image);

// The sweep as the combine driver runs it on its records, after the
// multipath tests; also sets the output's point count.
void finishOutput(const KelvoraParameter& parameters, const KelvoraCalibration& calibration,
                  const KelvoraIntermediate& intermediate, KelvoraOutput& output);

}  // namespace kelvora
