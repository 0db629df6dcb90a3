#include "filters/FilterKernels.hpp"

namespace kelvora {

// Each target's table, defined by its own translation unit.
namespace scalar {
extern const FilterKernels kFilterKernels;
}
namespace sse2 {
extern const FilterKernels kFilterKernels;
}
namespace neon {
extern const FilterKernels kFilterKernels;
}
namespace avx2 {
extern const FilterKernels kFilterKernels;
}
namespace avx512 {
extern const FilterKernels kFilterKernels;
}

namespace {

const FilterKernels* builtTable(simd::Target t) {
  switch (t) {
    case simd::Target::kScalar:
      return &scalar::kFilterKernels;
#if !defined(KELVORA_FORCE_SCALAR) && (defined(__ARM_NEON) || defined(__ARM_NEON__))
    case simd::Target::kNeon:
      return &neon::kFilterKernels;
#elif !defined(KELVORA_FORCE_SCALAR) && (defined(__SSE2__) || defined(_M_X64))
    case simd::Target::kSse2:
      return &sse2::kFilterKernels;
#if defined(KELVORA_WIDE_X86)
    case simd::Target::kAvx2:
      return &avx2::kFilterKernels;
    case simd::Target::kAvx512:
      return &avx512::kFilterKernels;
#endif
#endif
    default:
      return nullptr;
  }
}

}  // namespace

const FilterKernels* filterKernelsFor(simd::Target target) {
  return simd::targetAvailable(target) ? builtTable(target) : nullptr;
}

const FilterKernels& filterKernels() {
  return *builtTable(simd::selectedTarget());
}

}  // namespace kelvora
