#include "filters/MultipathFlagsKernel.hpp"

namespace kelvora {

std::size_t multipathMeasureGroupsAvx512(std::size_t count, const MultipathMeasureBuffers& b) {
  return MultipathMeasureGroups(simd::avx512::Tag(), count, b);
}

}  // namespace kelvora
