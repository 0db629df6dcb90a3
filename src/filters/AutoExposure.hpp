#pragma once
// Auto exposure: samples the amplitude image on concentric circles around the
// image centre and scales each modulated exposure so that the bright end of the
// scene (the value the brightest 5 % of samples exceed) reaches a reference.
#include <cstdint>

#include "base/KelvoraIntermediate.hpp"

namespace kelvora {

struct KelvoraCalibration;
struct KelvoraParameter;

// Number of in-image hits of the sampling pattern, ignoring the mask.
void initCalcAutoExposureGetMaxBinSize(uint32_t width, uint32_t height, uint32_t* maxBinSize);

// Lays out the pattern; sampleMask (width x height), samples and samplePixels
// (maxBinSize entries each) must already be allocated.
void initCalcAutoExposure(KelvoraAutoExposure* autoExposure, const KelvoraCalibration* calibration,
                          uint32_t width, uint32_t height);

void calcAutoExposure(uint32_t pixelCount, const float* amplitude,
                      const KelvoraParameter* parameters, KelvoraAutoExposure* autoExposure,
                      const uint32_t* exposureTimes, uint32_t* exposureProposal);

// The value a full descending sort of values[0..count) would put at index k
// (k < count). Reorders values.
float zyn_selectDescending(float* values, uint32_t count, uint32_t k);

}  // namespace kelvora
