// The lane shuffles for interleaved data on every compiled backend against
// their lane-by-lane definition. Distinct values per lane make any swapped or
// duplicated lane visible.
#include <gtest/gtest.h>

#include <array>

#include "common/SimdTestTypes.hpp"

namespace kelvora {
namespace {

using Lanes = std::array<float, 4>;

template <class D>
class SimdShuffleOps : public ::testing::Test {};
TYPED_TEST_SUITE(SimdShuffleOps, testing::AllSimdTags, testing::SimdTagName);

template <class D, class VF>
Lanes lanesOf(VF v) {
  alignas(16) float out[4];
  Store(v, D(), out);
  return {out[0], out[1], out[2], out[3]};
}

TYPED_TEST(SimdShuffleOps, InterleaveAndConcat) {
  const TypeParam d;
  alignas(16) const float a[4] = {1, 2, 3, 4};
  alignas(16) const float b[4] = {-1, -2, -3, -4};
  const auto va = Load(d, a), vb = Load(d, b);
  EXPECT_EQ(lanesOf<TypeParam>(InterleaveLower(va, vb)), (Lanes{1, -1, 2, -2}));
  EXPECT_EQ(lanesOf<TypeParam>(InterleaveUpper(va, vb)), (Lanes{3, -3, 4, -4}));
  // hi first, as in the backends' own naming: lo's lanes end up in front.
  EXPECT_EQ(lanesOf<TypeParam>(ConcatEven(vb, va)), (Lanes{1, 3, -1, -3}));
  EXPECT_EQ(lanesOf<TypeParam>(ConcatOdd(vb, va)), (Lanes{2, 4, -2, -4}));
}

TYPED_TEST(SimdShuffleOps, LoadInterleaved3AndStoreInterleaved4) {
  const TypeParam d;
  // Twelve floats plus a guard on each side: the load must take exactly 12.
  float xyz[14];
  for (int i = 0; i < 14; ++i) xyz[i] = static_cast<float>(100 + i);
  decltype(Zero(d)) x, y, z;
  LoadInterleaved3(d, xyz + 1, x, y, z);
  EXPECT_EQ(lanesOf<TypeParam>(x), (Lanes{101, 104, 107, 110}));
  EXPECT_EQ(lanesOf<TypeParam>(y), (Lanes{102, 105, 108, 111}));
  EXPECT_EQ(lanesOf<TypeParam>(z), (Lanes{103, 106, 109, 112}));

  float out[18];
  for (float& v : out) v = -1;
  alignas(16) const float w[4] = {7, 8, 9, 10};
  StoreInterleaved4(x, y, z, Load(d, w), d, out + 1);
  const float want[16] = {101, 102, 103, 7, 104, 105, 106, 8, 107, 108, 109, 9, 110, 111, 112, 10};
  for (int i = 0; i < 16; ++i) EXPECT_EQ(out[i + 1], want[i]) << i;
  EXPECT_EQ(out[0], -1);
  EXPECT_EQ(out[17], -1);
}

}  // namespace
}  // namespace kelvora
