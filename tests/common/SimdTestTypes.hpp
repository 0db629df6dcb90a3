#pragma once
// What the kernel tests share: the vector targets this build and processor
// have, bit comparison, and hostile inputs.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "simd/Targets.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::testing {

// Every available target but the scalar path, which the others are compared
// with.
inline std::vector<simd::Target> targetsBesideScalar() {
  std::vector<simd::Target> out;
  for (unsigned t = 1; t < simd::kTargetCount; ++t) {
    const auto target = static_cast<simd::Target>(t);
    if (simd::targetAvailable(target)) out.push_back(target);
  }
  return out;
}

inline std::string targetParamName(const ::testing::TestParamInfo<simd::Target>& info) {
  return simd::targetName(info.param);
}

inline uint32_t bitsOf(float v) {
  uint32_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

// Same bits, or both NaN: which NaN an operation passes on when two meet
// depends on the operand order the compiler picked, on every target.
inline bool sameBits(float a, float b) {
  return bitsOf(a) == bitsOf(b) || (std::isnan(a) && std::isnan(b));
}

// Values of magnitude up to `scale`, and in about one lane of eight a
// special one: signed zeros, values on `edge` and next to it, and where the
// target promises the scalar path's bits for them (not NEON, which flushes
// subnormals and has a default NaN) NaN, infinities, subnormals and extremes.
inline std::vector<float> hostileFloats(std::size_t n, float scale, float edge, uint64_t seed,
                                        bool allSpecials = true) {
  const float inf = std::numeric_limits<float>::infinity();
  const float specials[] = {0.0f,
                            -0.0f,
                            edge,
                            -edge,
                            std::nextafter(edge, inf),
                            std::nextafter(edge, -inf),
                            std::numeric_limits<float>::quiet_NaN(),
                            inf,
                            -inf,
                            std::numeric_limits<float>::denorm_min(),
                            -1e-39f,
                            3e38f,
                            -3e38f};
  // Next to 0 lie the subnormals.
  const std::size_t usable = allSpecials ? std::size(specials) : edge == 0.0f ? 4 : 6;
  synth::SplitMix rng(seed);
  std::vector<float> v(n);
  for (float& x : v) {
    x = rng.next() % 8 == 0 ? specials[rng.next() % usable] : rng.uniform(-scale, scale);
  }
  return v;
}

}  // namespace kelvora::testing
