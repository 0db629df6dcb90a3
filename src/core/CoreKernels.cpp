#include "core/CoreKernels.hpp"

namespace kelvora {

// Each target's table, defined by its own translation unit.
namespace scalar {
extern const CoreKernels kCoreKernels;
}
namespace sse2 {
extern const CoreKernels kCoreKernels;
}
namespace neon {
extern const CoreKernels kCoreKernels;
}
namespace avx2 {
extern const CoreKernels kCoreKernels;
}
namespace avx512 {
extern const CoreKernels kCoreKernels;
}

namespace {

const CoreKernels* builtTable(simd::Target t) {
  switch (t) {
    case simd::Target::kScalar:
      return &scalar::kCoreKernels;
#if !defined(KELVORA_FORCE_SCALAR) && (defined(__ARM_NEON) || defined(__ARM_NEON__))
    case simd::Target::kNeon:
      return &neon::kCoreKernels;
#elif !defined(KELVORA_FORCE_SCALAR) && (defined(__SSE2__) || defined(_M_X64))
    case simd::Target::kSse2:
      return &sse2::kCoreKernels;
#if defined(KELVORA_WIDE_X86)
    case simd::Target::kAvx2:
      return &avx2::kCoreKernels;
    case simd::Target::kAvx512:
      return &avx512::kCoreKernels;
#endif
#endif
    default:
      return nullptr;
  }
}

}  // namespace

const CoreKernels* coreKernelsFor(simd::Target target) {
  return simd::targetAvailable(target) ? builtTable(target) : nullptr;
}

const CoreKernels& coreKernels() {
  return *builtTable(simd::selectedTarget());
}

}  // namespace kelvora
