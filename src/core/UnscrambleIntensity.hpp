#pragma once
// Grey frame -> grey values corrected by the fixed-pattern noise. The output
// keeps negative values; the intermediate copy feeds the noise model, so it is
// clamped at 0 and given per unit of exposure. All rows are used (no skip).
#include <cstdint>

namespace kelvora {

struct KelvoraParameter;

// exposure 0 leaves the values unscaled.
void unscrambleIntensity_arm(const KelvoraParameter* parameters, const uint16_t* raw,
                             const float* fpn, uint32_t exposure, float* outputIntensity,
                             float* intermediateIntensity);

}  // namespace kelvora
