#include "filters/Filter2FreqKernel.hpp"

namespace kelvora {

int filter2FreqRowGroupsAvx512(const Filter2FreqConstants& c, const float* row, int width, int x,
                               float* out) {
  return Filter2FreqRowGroups(simd::avx512::Tag(), c, row, width, x, out);
}

}  // namespace kelvora
