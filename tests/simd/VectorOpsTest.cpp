// What the kernel harness cannot see, on the four-lane backends: the
// conversions' saturation as the ARM instructions define it, 16-bit wrap-around
// by sign extension, and the group runner with its partial groups, which must
// touch exactly the elements they are given.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "simd/GroupRunner.hpp"
#include "simd/SimdScalar.hpp"
#if defined(__ARM_NEON) || defined(__ARM_NEON__)
#include "simd/SimdNeon.hpp"
#elif defined(__SSE2__)
#include "simd/SimdSse2.hpp"
#endif

namespace kelvora {
namespace {

template <class D>
class VectorOps : public ::testing::Test {};
#if defined(__ARM_NEON) || defined(__ARM_NEON__)
using Backends = ::testing::Types<simd::scalar::Tag, simd::neon::Tag>;
#elif defined(__SSE2__)
using Backends = ::testing::Types<simd::scalar::Tag, simd::sse2::Tag>;
#else
using Backends = ::testing::Types<simd::scalar::Tag>;
#endif
TYPED_TEST_SUITE(VectorOps, Backends);

constexpr float kInf = std::numeric_limits<float>::infinity();

// Pairs of lanes: every value against every other one.
const std::vector<float> kValues = {0.f,  -0.f,         1.f,           -1.f,  0.5f, -2.5f,
                                    1e9f, 2147483520.f, -2147483648.f, 3e38f, kInf, -kInf,
                                    NAN,  4294967296.f, 123.456f,      -7.25f};

TYPED_TEST(VectorOps, ConversionsSaturateAsTheArmInstructionsDo) {
  using D = TypeParam;
  const D d;
  for (const float a : kValues) {
    uint32_t u[4];
    StoreU32(TruncateToUnsigned(Set(d, a)), d, u);
    const uint32_t want = !(a > 0.f) ? 0u : a >= 4294967296.f ? ~0u : static_cast<uint32_t>(a);
    EXPECT_EQ(u[0], want) << a;
  }
  const uint32_t big[4] = {0u, 1u, 0x80000001u, 0xFFFFFF7Fu};
  float f[4];
  StoreU(ConvertToFloat(LoadU32(d, big)), d, f);
  for (int l = 0; l < 4; ++l) EXPECT_EQ(f[l], static_cast<float>(big[l]));
  // 16-bit wrap-around: the low half of a 32-bit difference, read as int16.
  const uint16_t samples[4] = {0, 16384, 65535, 40000};
  StoreU(ConvertToFloat(SignExtend16(Sub(LoadU16ToI32(d, samples), SetI(d, 65535)))), d, f);
  for (int l = 0; l < 4; ++l) {
    EXPECT_EQ(f[l], static_cast<float>(static_cast<int16_t>(samples[l] - 65535)));
  }
}

// The runner covers [begin, end) exactly once, in whole groups then one
// partial group, and a partial group touches only its own elements.
TYPED_TEST(VectorOps, GroupsCoverARangeOnceAndPartialOnesStayInside) {
  const TypeParam d;
  for (std::size_t end = 1; end <= 15; ++end) {
    std::vector<float> in(end + 2), out(end + 2, -1.f);
    for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(i + 1);
    std::vector<uint32_t> words(end + 2, 7u);
    simd::ForEachGroup(d, 1, end, [&](auto g, std::size_t i) {
      g.Store(d, Add(g.Load(d, in.data() + i), Set(d, 100.f)), out.data() + i);
      g.Store32(d, Or(g.Load32(d, words.data() + i), SetU(d, 8u)), words.data() + i);
      EXPECT_EQ(decltype(g)::kWhole, i + 4 <= end);
    });
    for (std::size_t i = 0; i < out.size(); ++i) {
      const bool inside = i >= 1 && i < end;
      EXPECT_EQ(out[i], inside ? in[i] + 100.f : -1.f) << end << " " << i;
      EXPECT_EQ(words[i], inside ? 15u : 7u) << end << " " << i;
    }
  }
}

}  // namespace
}  // namespace kelvora
