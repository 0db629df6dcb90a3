#include "core/UnscrambleReIm.hpp"

namespace kelvora {

uint32_t unscrambleReImRowGroupsAvx512(const UnscrambleRow& r, uint32_t x) {
  return UnscrambleReImRowGroups(simd::avx512::Tag(), r, x);
}

}  // namespace kelvora
