#include "core/TwoFrequencyUnwrap.hpp"

namespace kelvora {

uint32_t calc2FreqWideGroupsAvx512(const TwoFrequencyConstants& c, uint32_t n, const float* dA,
                                   const float* dB, const float* noiseA, const float* noiseB,
                                   float* distanceOut, float* differenceOut, float* noiseOut) {
  const uint32_t whole = n & ~15u;
  Calc2FreqKernel(simd::avx512::Tag(), c, whole, dA, dB, noiseA, noiseB, distanceOut, differenceOut,
                  noiseOut);
  return whole;
}

}  // namespace kelvora
