#include "filters/MultipathMedianKernel.hpp"

namespace kelvora {

std::size_t multipathMedianPairsAvx512(const float* top, std::size_t width, float* out,
                                       std::size_t first, std::size_t pairs) {
  return median_detail::vectorPairs(simd::avx512::Tag(), top, width, out, first, pairs);
}

}  // namespace kelvora
