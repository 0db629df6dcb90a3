#pragma once
// A pointer whose origin the optimiser cannot see. A kernel hands its streams
// through it after moving them to where a loop starts: otherwise the compiler
// may write every address as one shared offset plus the stream's base, which
// costs an addition per access on targets whose vector loads and stores take
// no offset register (NEON), instead of one pointer per stream that the
// loads and stores advance themselves. A table of constants read through it
// is loaded where each value is used, not hoisted into registers that a
// long loop body needs for itself. In each target's namespace, as every
// kernel helper (see simd/Simd.hpp).
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

template <class T>
inline T* OpaquePointer(T* p) {
  __asm__("" : "+r"(p));
  return p;
}

}  // namespace kelvora::KELVORA_TARGET
