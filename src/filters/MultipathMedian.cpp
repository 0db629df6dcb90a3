#include "filters/MultipathMedian.hpp"

#include <cstring>

#include "filters/FilterKernels.hpp"

namespace kelvora {

void zyn_mpiFastMedian(uint32_t width, uint32_t height, float* data, float* scratch) {
  std::memcpy(scratch, data, sizeof(float) * width * height);
  filterKernels().median(width, height, scratch, data);
}

}  // namespace kelvora
