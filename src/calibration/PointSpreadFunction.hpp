#pragma once
// The stray-light correction kernel: the scatter profile of the calibration,
// sampled on the psfHeight x psfWidth grid with wrap-around distances (centred
// on element (0, 0), as a circular convolution needs), transformed, and stored
// as the reciprocal transfer function 1 / (1 + FFT(scatter)).
#include <cstdint>

namespace kelvora {

struct KelvoraCalibration;

// Profile points as read from a file; one more slot is kept for the origin.
constexpr uint32_t kMaxPsfProfilePoints = 13;

// Kernels above this many bins are refused as corrupt; real ones are a few
// hundred samples a side.
constexpr uint64_t kMaxPsfBins = uint64_t{1} << 24;

// Builds calibration->psf. Inserts the origin (radius 0, value 0) into the
// record's profile. Fails with kInvalidRecord without a model, without
// profile points or with an unusable kernel size, with kSizeMismatch when the
// kernel already exists, with kCapacityExceeded for more than 13 points.
uint32_t kelvora_allocateAndCalculatePsf(KelvoraCalibration* calibration);

}  // namespace kelvora
