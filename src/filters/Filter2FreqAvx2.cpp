#include "filters/Filter2FreqKernel.hpp"

namespace kelvora {

int filter2FreqRowGroupsAvx2(const Filter2FreqConstants& c, const float* row, int width, int x,
                             float* out) {
  return Filter2FreqRowGroups(simd::avx2::Tag(), c, row, width, x, out);
}

}  // namespace kelvora
