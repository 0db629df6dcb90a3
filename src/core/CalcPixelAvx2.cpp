#include "core/CalcPixel.hpp"

namespace kelvora {

uint32_t calcPixelWideGroupsAvx2(const CalcPixelConstants& c, const CalcPixelBuffers& b,
                                 uint32_t n) {
  const uint32_t whole = n & ~7u;
  CalcPixelKernel(simd::avx2::Tag(), c, b, whole);
  return whole;
}

}  // namespace kelvora
