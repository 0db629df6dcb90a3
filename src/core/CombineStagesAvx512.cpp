#include "core/CombineStages.hpp"

namespace kelvora {

uint32_t flyingPixelRowGroupsAvx512(const KelvoraParameter& p, const float* above, const float* row,
                                    const float* below, uint32_t* rowFlags, uint32_t x) {
  const simd::avx512::Tag d;
  return FlyingPixelRowGroups(d, FlyingPixelVectors<simd::avx512::Tag>(d, p), above, row, below,
                              p.width, rowFlags, x);
}

}  // namespace kelvora
