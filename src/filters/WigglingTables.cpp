#include "filters/WigglingTables.hpp"

#include <cmath>

#include "base/KelvoraIntermediate.hpp"

namespace kelvora {

namespace {

// The fused multiply-adds are part of the table's defined values.
float harmonicSum(float start, float x, uint32_t count, const uint32_t* harmonic,
                  const float* phase, const float* amplitude) {
  float s = start;
  for (uint32_t k = 0; k < count; ++k) {
    const float angle = std::fma(x, static_cast<float>(harmonic[k]), phase[k]);
    s = std::fma(amplitude[k], std::sin(angle), s);
  }
  return s;
}

}  // namespace

void initCorrectPhaseWiggling_cross(uint32_t count, const uint32_t* harmonic, const float* phase,
                                    const float* amplitude, float* table) {
  for (uint32_t i = 0; i < kWigglingTableSize; ++i) {
    const float x = static_cast<float>(i) * kWigglingTableStep;
    table[i] = harmonicSum(0.0f, x, count, harmonic, phase, amplitude);
  }
}

void initCorrectAmplitudeWiggling_cross(uint32_t count, const uint32_t* harmonic,
                                        const float* phase, const float* amplitude, float offset,
                                        float* table) {
  for (uint32_t i = 0; i < kWigglingTableSize; ++i) {
    const float x = static_cast<float>(i) * kWigglingTableStep;
    table[i] = 1.0f / harmonicSum(offset, x, count, harmonic, phase, amplitude);
  }
}

}  // namespace kelvora
