#include "filters/AutoExposure.hpp"

#include <algorithm>
#include <cmath>

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraParameter.hpp"
#include "base/SaturatingConvert.hpp"

namespace kelvora {

namespace {

constexpr float kAngleStep = 0.12566371f;  // 2*pi / 50
constexpr uint32_t kAnglesPerCircle = 50;
constexpr uint32_t kRadiusStep = 2;
constexpr float kPercentile = 0.049999997f;  // the brightest 5 % of samples
constexpr uint32_t kMaxProposals = 2;        // room in the proposal array

// Calls visit(x, y) for every in-image point of the sampling pattern, a pixel
// hit several times once per hit.
template <class Visit>
void forEachSampleHit(uint32_t width, uint32_t height, Visit visit) {
  const float w = static_cast<float>(width);
  const float h = static_cast<float>(height);
  const uint32_t rmax = saturatingToUnsigned(std::sqrt((w * w + h * h) * 0.5f));
  const float cx = static_cast<float>(width / 2);
  const float cy = static_cast<float>(height / 2);
  for (uint32_t r = 0; r < rmax; r += kRadiusStep) {
    const float radius = static_cast<float>(r);
    float theta = 0.0f;
    for (uint32_t a = 0; a < kAnglesPerCircle; ++a, theta += kAngleStep) {
      const uint32_t x = saturatingToUnsigned(std::round(std::cos(theta) * radius) + cx);
      const uint32_t y = saturatingToUnsigned(std::round(std::sin(theta) * radius) + cy);
      if (x < width && y < height) visit(x, y);
    }
  }
}

// Descending order with NaN last, so the ordering stays strict and weak
// whatever the amplitudes hold.
bool greaterNanLast(float a, float b) {
  return a > b || (b != b && a == a);
}

}  // namespace

void initCalcAutoExposureGetMaxBinSize(uint32_t width, uint32_t height, uint32_t* maxBinSize) {
  uint32_t hits = 0;
  forEachSampleHit(width, height, [&](uint32_t, uint32_t) { ++hits; });
  *maxBinSize = hits;
}

void initCalcAutoExposure(KelvoraAutoExposure* ae, const KelvoraCalibration* calibration,
                          uint32_t width, uint32_t height) {
  std::fill(ae->sampleMask, ae->sampleMask + static_cast<size_t>(width) * height, uint8_t{0});
  ae->sampleCount = 0;
  forEachSampleHit(width, height, [&](uint32_t x, uint32_t y) {
    const uint32_t pixel = x + width * y;
    if (calibration->mask[pixel] == 0) {
      ae->sampleMask[pixel] = 1;
      ++ae->sampleCount;
    }
  });
  // Listed once here, so the gather of every frame set visits only the
  // marked pixels instead of the whole image and its mask.
  ae->samplePixelCount = 0;
  for (uint32_t pixel = 0; pixel < width * height; ++pixel) {
    if (ae->sampleMask[pixel] != 0) ae->samplePixels[ae->samplePixelCount++] = pixel;
  }
  std::fill(ae->samples, ae->samples + ae->sampleCount, 0.0f);
  ae->selectIndex =
      static_cast<uint32_t>(std::ceil(static_cast<float>(ae->sampleCount) * kPercentile));
}

float zyn_selectDescending(float* values, uint32_t count, uint32_t k) {
  std::nth_element(values, values + k, values + count, greaterNanLast);
  return values[k];
}

void calcAutoExposure(uint32_t pixelCount, const float* amplitude,
                      const KelvoraParameter* parameters, KelvoraAutoExposure* ae,
                      const uint32_t* exposureTimes, uint32_t* exposureProposal) {
  // Only the m marked pixels fill samples[0..m), in pixel order; the rest of
  // the counted range keeps what it held, since a pixel the pattern hits
  // several times is marked once and m may be below sampleCount.
  const uint32_t* const pixels = ae->samplePixels;
  for (uint32_t j = 0; j < ae->samplePixelCount && pixels[j] < pixelCount; ++j) {
    ae->samples[j] = std::fabs(amplitude[pixels[j]]);
  }

  float percentile = -1.0f;  // no sample: the proposal falls to the lower limit
  if (ae->sampleCount != 0 && ae->selectIndex < ae->sampleCount) {
    percentile = zyn_selectDescending(ae->samples, ae->sampleCount, ae->selectIndex);
  }
  if (percentile == 0.0f) percentile = 0.1f;
  const float ratio = parameters->exposureReferenceAmplitude / percentile;

  exposureProposal[0] = exposureTimes[0];
  const uint32_t frequencies = std::min<uint32_t>(parameters->numFreqs, kMaxProposals);
  if (frequencies == 0) return;
  if (0.9f < ratio && ratio < 1.1f) {
    for (uint32_t i = 1; i <= frequencies; ++i) exposureProposal[i] = exposureTimes[i];
    return;
  }
  const uint32_t lower = parameters->exposureLimitLower;
  const uint32_t upper = parameters->exposureLimitUpper;
  for (uint32_t i = 1; i <= frequencies; ++i) {
    const uint32_t e = exposureTimes[i];
    if ((e == lower && ratio < 1.0f) || (e == upper && ratio > 1.0f)) {
      exposureProposal[i] = e;  // already at the limit it would be pushed past
      continue;
    }
    uint32_t p = saturatingToUnsigned(std::round(static_cast<float>(e) * ratio));
    if (p < lower) p = lower;
    if (p >= upper) p = upper;
    exposureProposal[i] = p;
  }
}

}  // namespace kelvora
