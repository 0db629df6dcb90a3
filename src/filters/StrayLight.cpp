#include "filters/StrayLight.hpp"

#include <kissfft/kiss_fftnd.h>

#include <cstddef>
#include <cstring>

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "filters/FilterKernels.hpp"

namespace kelvora {

void removeStrayLight(KelvoraIntermediateProbeData* probeData,
                      KelvoraIntermediateStrayLight* strayLight,
                      const KelvoraCalibration* calibration) {
  static_assert(sizeof(kiss_fft_cpx) == 2 * sizeof(float), "kissfft must be built for float");
  const FilterKernels& kernels = filterKernels();
  const uint32_t w = calibration->calibrationROI[2];
  const uint32_t h = calibration->calibrationROI[3];
  const uint32_t width = calibration->psfWidth;
  const uint32_t height = calibration->psfHeight;
  // Not reachable through the engine (it switches the stage off without a
  // kernel), but a corrupt calibration must not make the padding overrun.
  if (w == 0 || h == 0 || width < w || height < h) return;
  // Centred, with the odd sample of padding going to the right and bottom.
  const uint32_t ox = (width - w) / 2;
  const uint32_t top = (height - h) / 2;
  kiss_fft_cpx* a = strayLight->bufferA;
  kiss_fft_cpx* b = strayLight->bufferB;
  const std::size_t rowBytes = sizeof(kiss_fft_cpx) * width;

  for (uint32_t y = 0; y < h; ++y) {
    const std::size_t pixel = static_cast<std::size_t>(y) * w;
    kernels.strayLightPadRow(
        probeData->real + pixel, probeData->imag + pixel, w, ox, width,
        reinterpret_cast<float*>(a + static_cast<std::size_t>(top + y) * width));
  }
  for (uint32_t y = 0; y < top; ++y) {
    std::memcpy(a + static_cast<std::size_t>(y) * width, a + static_cast<std::size_t>(top) * width,
                rowBytes);
  }
  const kiss_fft_cpx* lastRow = a + static_cast<std::size_t>(top + h - 1) * width;
  for (uint32_t y = top + h; y < height; ++y) {
    std::memcpy(a + static_cast<std::size_t>(y) * width, lastRow, rowBytes);
  }

  kiss_fftnd(strayLight->forwardPlan, a, b);
  kernels.strayLightMultiply(reinterpret_cast<float*>(b), calibration->psf,
                             static_cast<std::size_t>(width) * height);
  // The inverse transform is unnormalised; the write-back divides by W x H.
  kiss_fftnd(strayLight->inversePlan, b, a);

  const float scale = 1.0f / static_cast<float>(width * height);
  for (uint32_t y = 0; y < h; ++y) {
    const std::size_t pixel = static_cast<std::size_t>(y) * w;
    kernels.strayLightWriteBackRow(
        reinterpret_cast<const float*>(a + static_cast<std::size_t>(top + y) * width + ox), w,
        scale, probeData->real + pixel, probeData->imag + pixel);
  }
}

}  // namespace kelvora
