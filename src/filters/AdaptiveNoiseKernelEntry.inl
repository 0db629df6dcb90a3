// The adaptive noise filter's entry in the filters' kernel table of one
// target. Included only by that target's own translation unit
// (AdaptiveNoiseKernelsScalar.cpp, ...Sse2, ...Neon, ...Avx2, ...Avx512),
// which names the target first: apart from the other filters, so that a
// target can compile it with options of its own (see src/CMakeLists.txt).
#include "filters/AdaptiveNoiseFilterKernel.hpp"
#include "filters/FilterKernels.hpp"

namespace kelvora::KELVORA_TARGET {

void adaptiveNoise(const AdaptiveNoiseImage& image, int radius) {
  AdaptiveNoiseKernel(Tag(), image, radius);
}

}  // namespace kelvora::KELVORA_TARGET
