#include "filters/MultipathFlagsKernel.hpp"

namespace kelvora {

std::size_t multipathMeasureGroupsAvx2(std::size_t count, const MultipathMeasureBuffers& b) {
  return MultipathMeasureGroups(simd::avx2::Tag(), count, b);
}

}  // namespace kelvora
