#include "filters/AdaptiveNoiseFilterKernel.hpp"

namespace kelvora {

std::ptrdiff_t adaptiveNoiseRowGroupsAvx2(const AdaptiveNoiseImage& im, int radius,
                                          std::ptrdiff_t y, std::ptrdiff_t x) {
  const simd::avx2::Tag d;
  return radius == 1 ? adaptive_noise_detail::filterRowGroups<1>(d, im, y, x)
                     : adaptive_noise_detail::filterRowGroups<2>(d, im, y, x);
}

}  // namespace kelvora
