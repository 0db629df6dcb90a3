#pragma once
// Four phase frames A0..A3 of one modulation frequency -> quadrature
// differences, asymmetry and saturation flags.
//
// The first raw row of every phase frame is skipped: raw row r lands in output
// row r - 1, so the last output row is never written here. Within a row the
// sensor's own pipeline forms sums and differences in 16-bit wrap-around
// arithmetic in steps of eight pixels while more than eight pixels remain, and
// exactly for the rest of the row; for samples below 16384 both give the same
// values, above they differ, and the columns keep the rule
// (core/UnscrambleReImKernel.hpp).
#include <cstdint>

namespace kelvora {

struct KelvoraInput;
struct KelvoraParameter;
struct KelvoraIntermediateProbeData;
struct KelvoraOutput;

// frames: A0..A3, each width x height samples. The input record is not read.
void unscrambleReIm_flagSaturation_arm(const KelvoraInput* input,
                                       const KelvoraParameter* parameters,
                                       KelvoraIntermediateProbeData* probe, KelvoraOutput* output,
                                       const uint16_t* const* frames);

// One frequency's frames and the stage's outputs (width x height each; the
// last output row is not written). lower and upper are inclusive bounds of a
// valid sample.
struct UnscrambleFrames {
  const uint16_t* frames[4];
  uint32_t width;
  uint32_t height;
  uint16_t lower;
  uint16_t upper;
  float* imag;
  float* real;
  float* asymmetry;
  uint32_t* flags;
};

}  // namespace kelvora
