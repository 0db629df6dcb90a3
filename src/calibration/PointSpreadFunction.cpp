#include "calibration/PointSpreadFunction.hpp"

#include <kissfft/kiss_fftnd.h>

#include <cmath>
#include <cstdlib>

#include "base/StatusCodes.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "calibration/PchipInterpolation.hpp"

namespace kelvora {

namespace {

// Returned by the interpolation outside the profile; exp(-1e20) is 0, so such
// samples carry no scatter.
constexpr float kOutsideProfile = 1e20f;

// Distance from index i to the nearest copy of index 0 on a ring of n samples.
uint32_t wrappedDistance(uint32_t i, uint32_t n) {
  return i <= n / 2 ? i : n - i;
}

void sampleProfile(const KelvoraCalibration& c, float* psf) {
  const uint32_t width = c.psfWidth;
  const uint32_t height = c.psfHeight;
  const float p = c.psfExponent;
  const float invP = 1.0f / p;
  const float cutoff = c.psfRadii[c.psfPointCount - 1];
  KelvoraPolyHandle* profile =
      kelvora_createPolyHandle(c.psfRadii, c.psfValues, static_cast<int32_t>(c.psfPointCount));
  for (uint32_t i = 0; i < height; ++i) {
    const float a = std::pow(static_cast<float>(wrappedDistance(i, height)), p);
    float* row = psf + static_cast<std::size_t>(i) * width;
    for (uint32_t j = 0; j < width; ++j) {
      const float b = std::pow(static_cast<float>(wrappedDistance(j, width)), p);
      const float radius = std::pow(a + b, invP);
      if (radius > cutoff) {
        row[j] = 0.0f;
      } else {
        row[j] = c.psfScale * std::exp(-kelvora_cinterpol_def(profile, radius, kOutsideProfile));
      }
    }
  }
  kelvora_freePoly(profile);
}

void toReciprocalTransfer(uint32_t width, uint32_t height, float* psf) {
  const std::size_t bins = static_cast<std::size_t>(width) * height;
  auto* in = static_cast<kiss_fft_cpx*>(std::malloc(bins * sizeof(kiss_fft_cpx)));
  auto* out = static_cast<kiss_fft_cpx*>(std::malloc(bins * sizeof(kiss_fft_cpx)));
  for (std::size_t k = 0; k < bins; ++k) in[k] = kiss_fft_cpx{psf[k], 0.0f};
  const int dims[2] = {static_cast<int>(height), static_cast<int>(width)};
  kiss_fftnd_cfg plan = kiss_fftnd_alloc(dims, 2, 0, nullptr, nullptr);
  kiss_fftnd(plan, in, out);
  for (std::size_t k = 0; k < bins; ++k) psf[k] = 1.0f / (1.0f + out[k].r);
  std::free(plan);  // a kissfft plan is one heap block
  std::free(in);
  std::free(out);
}

}  // namespace

uint32_t kelvora_allocateAndCalculatePsf(KelvoraCalibration* calibration) {
  KelvoraCalibration& c = *calibration;
  if (!kelvora_validFloatField(c.psfScale)) return status::kInvalidRecord;
  if (c.psf != nullptr) return status::kSizeMismatch;
  if (c.psfPointCount == 0) return status::kInvalidRecord;
  if (c.psfPointCount > kMaxPsfProfilePoints) return status::kCapacityExceeded;
  // An unset (0xFFFFFFFF), empty or absurd kernel size comes only from a
  // corrupt blob; refuse it before the record is touched.
  const uint64_t bins = static_cast<uint64_t>(c.psfWidth) * c.psfHeight;
  if (c.psfWidth == 0 || c.psfHeight == 0 || bins > kMaxPsfBins) return status::kInvalidRecord;

  for (uint32_t i = c.psfPointCount; i > 0; --i) {
    c.psfRadii[i] = c.psfRadii[i - 1];
    c.psfValues[i] = c.psfValues[i - 1];
  }
  c.psfRadii[0] = 0.0f;
  c.psfValues[0] = 0.0f;
  ++c.psfPointCount;

  c.psf = static_cast<float*>(std::malloc(static_cast<std::size_t>(bins) * sizeof(float)));
  sampleProfile(c, c.psf);
  if (c.psfOffset != 0.0f) {
    for (uint64_t k = 0; k < bins; ++k) c.psf[k] += c.psfOffset;
  }
  c.psf[0] = c.psfCentre;
  toReciprocalTransfer(c.psfWidth, c.psfHeight, c.psf);
  return status::kSuccess;
}

}  // namespace kelvora
