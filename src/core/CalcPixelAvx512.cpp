#include "core/CalcPixel.hpp"

namespace kelvora {

uint32_t calcPixelWideGroupsAvx512(const CalcPixelConstants& c, const CalcPixelBuffers& b,
                                   uint32_t n) {
  const uint32_t whole = n & ~15u;
  CalcPixelKernel(simd::avx512::Tag(), c, b, whole);
  return whole;
}

}  // namespace kelvora
