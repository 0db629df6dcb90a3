#include "core/UnscrambleReIm.hpp"

namespace kelvora {

uint32_t unscrambleReImRowGroupsAvx2(const UnscrambleRow& r, uint32_t x) {
  return UnscrambleReImRowGroups(simd::avx2::Tag(), r, x);
}

}  // namespace kelvora
