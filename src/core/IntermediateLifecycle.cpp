// Creation and release of the per-engine scratch record.
#include <cstdlib>
#include <utility>

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraParameter.hpp"
#include "base/PixelBuffer.hpp"
#include "base/PixelFlags.hpp"
#include "base/StatusCodes.hpp"
#include "filters/AutoExposure.hpp"
#include "filters/WigglingTables.hpp"

namespace kelvora {

namespace {

// 149852320 m/s: half the speed of light in air, as the system stores it.
constexpr float kHalfSpeedOfLight = 149852320.0f;

void initProbe(KelvoraIntermediateProbeData& probe, uint32_t frequency, uint32_t n) {
  probe.unambiguousRange = kHalfSpeedOfLight / static_cast<float>(frequency);
  probe.asymmetry = allocPixels<float>(n);
  probe.imag = allocPixels<float>(n);
  probe.real = allocPixels<float>(n);
  probe.normAmplitude = allocPixels<float>(n);
  probe.spare = allocPixels<uint32_t>(n);
  probe.distance = allocPixels<float>(n);
  probe.distanceNoise = allocPixels<float>(n);
  probe.amplitude = allocPixels<float>(n);
  probe.rawNoise = allocPixels<float>(n);
  probe.phaseWigglingSize = kWigglingTableSize;
  probe.amplitudeWigglingSize = kWigglingTableSize;
  probe.phaseWiggling = allocPixels<float>(kWigglingTableSize);
  probe.amplitudeWiggling = allocPixels<float>(kWigglingTableSize);
}

void freeProbe(KelvoraIntermediateProbeData& probe) {
  for (void* p : {static_cast<void*>(probe.asymmetry), static_cast<void*>(probe.imag),
                  static_cast<void*>(probe.real), static_cast<void*>(probe.normAmplitude),
                  static_cast<void*>(probe.spare), static_cast<void*>(probe.distance),
                  static_cast<void*>(probe.distanceNoise), static_cast<void*>(probe.amplitude),
                  static_cast<void*>(probe.rawNoise), static_cast<void*>(probe.phaseWiggling),
                  static_cast<void*>(probe.amplitudeWiggling)}) {
    freePixelBuffer(p);
  }
}

void initStrayLight(KelvoraIntermediateStrayLight& s, const KelvoraCalibration& c) {
  s = KelvoraIntermediateStrayLight{};
  if (c.psf == nullptr) return;
  const uint32_t bins = c.psfWidth * c.psfHeight;
  s.bufferA = static_cast<kiss_fft_cpx*>(std::calloc(bins, sizeof(kiss_fft_cpx)));
  s.bufferB = static_cast<kiss_fft_cpx*>(std::calloc(bins, sizeof(kiss_fft_cpx)));
  const int dims[2] = {static_cast<int>(c.psfHeight), static_cast<int>(c.psfWidth)};
  s.forwardPlan = kiss_fftnd_alloc(dims, 2, 0, nullptr, nullptr);
  s.inversePlan = kiss_fftnd_alloc(dims, 2, 1, nullptr, nullptr);
}

void freeStrayLight(KelvoraIntermediateStrayLight& s) {
  std::free(s.bufferA);
  std::free(s.bufferB);
  // kissfft plans are one malloc'd block each.
  std::free(s.forwardPlan);
  std::free(s.inversePlan);
  s = KelvoraIntermediateStrayLight{};
}

}  // namespace

int32_t kelvoraIntermediateInit(const KelvoraParameter* parameters,
                                const KelvoraCalibration* calibration, KelvoraIntermediate** out) {
  const uint32_t n = pixelCountOf(*parameters);
  auto* im = static_cast<KelvoraIntermediate*>(std::calloc(1, sizeof(KelvoraIntermediate)));
  im->height = static_cast<uint16_t>(parameters->height);
  im->width = static_cast<uint16_t>(parameters->width);

  im->mpiAmplitudeRatio = allocPixels<float>(n);
  im->distanceDifference = allocPixels<float>(n);
  im->spare = allocPixels<uint32_t>(n);
  im->intensity = allocPixels<float>(n);
  im->phase = allocPixels<float>(n);
  im->phaseNoise = allocPixels<float>(n);
  im->mpiAmplitudeNoise = allocPixels<float>(n);
  im->filterScratch = allocPixels<float>(n);

  uint32_t maxBinSize = 0;
  initCalcAutoExposureGetMaxBinSize(parameters->width, parameters->height, &maxBinSize);
  im->autoExposure.sampleMask = allocPixels<uint8_t>(n);
  im->autoExposure.samples = allocPixels<float>(maxBinSize);
  im->autoExposure.samplePixels = allocPixels<uint32_t>(maxBinSize);
  im->autoExposure.sampleCount = 0;

  im->numFreqs = parameters->numFreqs;
  im->probeData = static_cast<KelvoraIntermediateProbeData*>(
      std::calloc(im->numFreqs == 0 ? 1 : im->numFreqs, sizeof(KelvoraIntermediateProbeData)));
  for (uint32_t i = 0; i < im->numFreqs; ++i) {
    initProbe(im->probeData[i], frequencyOf(*parameters, i), n);
  }

  im->pixelFlags = allocPixels<uint32_t>(n);
  initStrayLight(im->strayLight, *calibration);
  *out = im;
  return 0;
}

void kelvoraIntermediateFree(KelvoraIntermediate* im) {
  if (im == nullptr) return;
  for (void* p :
       {static_cast<void*>(im->mpiAmplitudeRatio), static_cast<void*>(im->distanceDifference),
        static_cast<void*>(im->spare), static_cast<void*>(im->intensity),
        static_cast<void*>(im->phase), static_cast<void*>(im->phaseNoise),
        static_cast<void*>(im->mpiAmplitudeNoise), static_cast<void*>(im->filterScratch),
        static_cast<void*>(im->autoExposure.sampleMask),
        static_cast<void*>(im->autoExposure.samples),
        static_cast<void*>(im->autoExposure.samplePixels), static_cast<void*>(im->pixelFlags)}) {
    freePixelBuffer(p);
  }
  if (im->probeData != nullptr) {
    for (uint32_t i = 0; i < im->numFreqs; ++i) freeProbe(im->probeData[i]);
  }
  std::free(im->probeData);
  freeStrayLight(im->strayLight);
  std::free(im);
}

void kelvoraTavelFree(KelvoraIntermediate* intermediate) {
  if (intermediate != nullptr) kelvoraIntermediateFree(intermediate);
}

int32_t adaptCalibration(const KelvoraParameter* parameters, KelvoraCalibration* calibration) {
  uint32_t target = 0;
  const uint32_t recordCount = calibration->frequencyCount < kCalibrationFrequencyCapacity
                                   ? calibration->frequencyCount
                                   : kCalibrationFrequencyCapacity;
  for (uint32_t i = 0; i < parameters->numFreqs; ++i) {
    const uint32_t wanted = frequencyOf(*parameters, i);
    for (uint32_t k = target; k < recordCount; ++k) {
      if (calibration->frequencies[k].modulationFrequency == wanted) {
        std::swap(calibration->frequencies[k], calibration->frequencies[target]);
        ++target;
        break;
      }
    }
  }
  return target == parameters->numFreqs ? 0 : status::kInitFrequencyNotCalibrated;
}

int32_t kelvoraTavelInit(const KelvoraParameter* parameters, KelvoraCalibration* calibration,
                         KelvoraIntermediate** out) {
  if (calibration->version != 1) return status::kInitBadCalibrationVersion;
  const uint32_t m = calibration->calibrationROI[2] * calibration->calibrationROI[3];

  kelvoraIntermediateInit(parameters, calibration, out);
  KelvoraIntermediate* im = *out;
  initCalcAutoExposure(&im->autoExposure, calibration, parameters->width, parameters->height);
  const int32_t result = adaptCalibration(parameters, calibration);

  for (uint32_t i = 0; i < im->numFreqs; ++i) {
    const KelvoraCalibrationFrequency& f = calibration->frequencies[i];
    KelvoraIntermediateProbeData& probe = im->probeData[i];
    initCorrectPhaseWiggling_cross(f.phaseWiggling.count, f.phaseWiggling.harmonic,
                                   f.phaseWiggling.phase, f.phaseWiggling.amplitude,
                                   probe.phaseWiggling);
    if (im->numFreqs > 1) {
      initCorrectAmplitudeWiggling_cross(f.amplitudeWiggling.count, f.amplitudeWiggling.harmonic,
                                         f.amplitudeWiggling.phase, f.amplitudeWiggling.amplitude,
                                         f.amplitudeWiggling.offset, probe.amplitudeWiggling);
    }
  }

  // The mask flags are written for the calibration's pixel count; the buffer
  // holds the parameters' pixel count, so stay inside the smaller of the two.
  const uint32_t n = pixelCountOf(*parameters);
  const uint32_t flagged = m < n ? m : n;
  for (uint32_t p = 0; p < n; ++p) im->pixelFlags[p] = 0;
  for (uint32_t p = 0; p < flagged; ++p) {
    if ((calibration->mask[p] & 1u) != 0) im->pixelFlags[p] |= flags::kMasked;
  }
  return result;
}

}  // namespace kelvora
