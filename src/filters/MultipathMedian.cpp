#include "filters/MultipathMedian.hpp"

#include "filters/MultipathMedianKernel.hpp"
#include "simd/Simd.hpp"
#include "simd/WideVectors.hpp"

namespace kelvora {

void zyn_mpiFastMedian(uint32_t width, uint32_t height, float* data, float* scratch) {
  multipathMedian(simd::NativeTag(), width, height, data, scratch, simd::vectorLanes());
}

}  // namespace kelvora
