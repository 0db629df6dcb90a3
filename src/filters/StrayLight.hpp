#pragma once
// Removes lens scatter from the raw complex signal of one modulation frequency
// by deconvolution with the calibration's point-spread function.
namespace kelvora {

struct KelvoraIntermediateProbeData;
struct KelvoraIntermediateStrayLight;
struct KelvoraCalibration;

// Overwrites probeData->real and ->imag (calibration ROI width x height) with
// the corrected signal. Needs the calibration's psf and the buffers and plans
// kelvoraIntermediateInit made for it; the image may not exceed the kernel.
// Allocates nothing.
void removeStrayLight(KelvoraIntermediateProbeData* probeData,
                      KelvoraIntermediateStrayLight* strayLight,
                      const KelvoraCalibration* calibration);

}  // namespace kelvora
