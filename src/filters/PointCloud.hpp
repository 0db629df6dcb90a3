#pragma once
// Turns the final radial distance image into x, y, z points along the
// calibration's per-pixel rays, with a confidence from the distance noise.
#include <cstdint>

namespace kelvora {

struct KelvoraCalibration;
struct KelvoraParameter;
struct KelvoraOutput;

// Dense (every pixel, flagged ones with confidence 0) or, with
// useSparsePointCloud, only unflagged pixels. Sets output->pointCloudSize to
// the number of floats written (in dense mode counted in whole groups of four
// pixels). Reads and writes stay within pixelCount pixels.
void calcCartesianCoordinates_arm(uint32_t pixelCount, const KelvoraCalibration* calibration,
                                  const KelvoraParameter* parameters, KelvoraOutput* output);

}  // namespace kelvora
