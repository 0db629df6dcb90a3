#include "core/CombineStages.hpp"

namespace kelvora {

uint32_t flyingPixelRowGroupsAvx2(const KelvoraParameter& p, const float* above, const float* row,
                                  const float* below, uint32_t* rowFlags, uint32_t x) {
  const simd::avx2::Tag d;
  return FlyingPixelRowGroups(d, FlyingPixelVectors<simd::avx2::Tag>(d, p), above, row, below,
                              p.width, rowFlags, x);
}

}  // namespace kelvora
