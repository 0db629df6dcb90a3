// Every op of every compiled backend against the plain C++ definition of the
// op, on random values and the awkward ones (signed zeros, NaN, infinities,
// halves, values around 2^31), and the lane shuffles for interleaved data.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/SimdTestTypes.hpp"

namespace kelvora {
namespace {

using Lanes = std::array<float, 4>;

template <class D>
class SimdOpsTest : public ::testing::Test {};
TYPED_TEST_SUITE(SimdOpsTest, testing::AllSimdTags, testing::SimdTagName);

// Normal numbers only: ARMv7 NEON flushes subnormals to zero by design.
std::vector<float> sampleValues() {
  const float inf = std::numeric_limits<float>::infinity();
  std::vector<float> v = {0.f,          -0.f,          1.f,      -1.f,      0.5f,     -0.5f,
                          1.5f,         -2.5f,         1.2e-38f, -1.2e-38f, 3.4e38f,  -3.4e38f,
                          2147483520.f, -2147483648.f, inf,      -inf,      123.456f, -7.25f};
  std::mt19937 gen(7);
  std::uniform_real_distribution<float> dist(-1000.f, 1000.f);
  for (int i = 0; i < 400; ++i) v.push_back(dist(gen));
  while (v.size() % 4 != 0) v.push_back(0.25f);
  return v;
}

template <class D, class VF>
Lanes lanesOf(VF v) {
  alignas(16) float out[4];
  Store(v, D(), out);
  return {out[0], out[1], out[2], out[3]};
}

template <class D, class M>
std::array<bool, 4> maskOf(M m) {
  const D d;
  const Lanes l = lanesOf<D>(IfThenElse(m, Set(d, 1.f), Zero(d)));
  return {l[0] == 1.f, l[1] == 1.f, l[2] == 1.f, l[3] == 1.f};
}

bool sameFloat(float a, float b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// Runs op over pairs of sample values (b taken from a rotated copy) and
// compares each lane with ref.
template <class D, class Op, class Ref>
void expectBinaryExact(Op op, Ref ref, bool skipNaN = false) {
  const D d;
  const std::vector<float> a = sampleValues();
  std::vector<float> b(a.rbegin(), a.rend());
  for (size_t i = 0; i < a.size(); i += 4) {
    const Lanes got = lanesOf<D>(op(LoadU(d, &a[i]), LoadU(d, &b[i])));
    for (size_t l = 0; l < 4; ++l) {
      const float want = ref(a[i + l], b[i + l]);
      if (skipNaN && std::isnan(want)) continue;
      EXPECT_TRUE(sameFloat(got[l], want))
          << a[i + l] << " op " << b[i + l] << ": got " << got[l] << " want " << want;
    }
  }
}

TYPED_TEST(SimdOpsTest, ArithmeticAndSignOpsAreExactLaneByLane) {
  using D = TypeParam;
  expectBinaryExact<D>([](auto x, auto y) { return Add(x, y); },
                       [](float x, float y) { return x + y; });
  expectBinaryExact<D>([](auto x, auto y) { return Sub(x, y); },
                       [](float x, float y) { return x - y; });
  expectBinaryExact<D>([](auto x, auto y) { return Mul(x, y); },
                       [](float x, float y) { return x * y; });
  expectBinaryExact<D>([](auto x, auto y) { return Min(x, y); },
                       [](float x, float y) { return y < x ? y : x; });
  expectBinaryExact<D>([](auto x, auto y) { return Max(x, y); },
                       [](float x, float y) { return x < y ? y : x; });
  // Two roundings, never fused.
  expectBinaryExact<D>([](auto x, auto y) { return MulAdd(x, y, y); },
                       [](float x, float y) {
                         volatile float p = x * y;
                         return p + y;
                       });
  expectBinaryExact<D>([](auto x, auto y) { return NegMulAdd(x, y, x); },
                       [](float x, float y) {
                         volatile float p = x * y;
                         return x - p;
                       });
  expectBinaryExact<D>([](auto x, auto) { return Abs(x); },
                       [](float x, float) { return std::fabs(x); });
  expectBinaryExact<D>([](auto x, auto) { return Neg(x); }, [](float x, float) { return -x; });
}

TYPED_TEST(SimdOpsTest, DivisionReciprocalAndSqrtWithinTwoUlps) {
  using D = TypeParam;
  const D d;
  std::mt19937 gen(11);
  std::uniform_real_distribution<float> dist(1e-6f, 1e6f);
  for (int rep = 0; rep < 2000; ++rep) {
    alignas(16) float x[4], y[4];
    for (int l = 0; l < 4; ++l) {
      x[l] = dist(gen);
      y[l] = (rep % 2 ? -1.f : 1.f) * dist(gen);
    }
    const Lanes div = lanesOf<D>(Div(Load(d, x), Load(d, y)));
    const Lanes rec = lanesOf<D>(Reciprocal(Load(d, y)));
    const Lanes sq = lanesOf<D>(Sqrt(Load(d, x)));
    for (int l = 0; l < 4; ++l) {
      const double wantDiv = static_cast<double>(x[l]) / y[l];
      const double wantRec = 1.0 / y[l];
      const double wantSqrt = std::sqrt(static_cast<double>(x[l]));
      // Exact backends round once (half an ulp); refined estimates stay within two.
      const double tol = D::kExactDivision ? 0.6e-7 : 2.5e-7;
      EXPECT_NEAR(div[l] / wantDiv, 1.0, tol) << x[l] << "/" << y[l];
      EXPECT_NEAR(rec[l] / wantRec, 1.0, tol) << y[l];
      EXPECT_NEAR(sq[l] / wantSqrt, 1.0, tol) << x[l];
    }
  }
}

TYPED_TEST(SimdOpsTest, ComparisonsAndSelection) {
  using D = TypeParam;
  const D d;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  alignas(16) const float a[4] = {1.f, 2.f, nan, -0.f};
  alignas(16) const float b[4] = {2.f, 2.f, 1.f, 0.f};
  const auto va = Load(d, a), vb = Load(d, b);
  using A = std::array<bool, 4>;
  EXPECT_EQ(maskOf<D>(Lt(va, vb)), (A{true, false, false, false}));
  EXPECT_EQ(maskOf<D>(Le(va, vb)), (A{true, true, false, true}));
  EXPECT_EQ(maskOf<D>(Gt(va, vb)), (A{false, false, false, false}));
  EXPECT_EQ(maskOf<D>(Ge(va, vb)), (A{false, true, false, true}));
  EXPECT_EQ(maskOf<D>(Eq(va, vb)), (A{false, true, false, true}));
  EXPECT_EQ(maskOf<D>(Not(Lt(va, vb))), (A{false, true, true, true}));
  EXPECT_EQ(maskOf<D>(And(Le(va, vb), Ge(va, vb))), (A{false, true, false, true}));
  EXPECT_EQ(maskOf<D>(Or(Lt(va, vb), Eq(va, vb))), (A{true, true, false, true}));
  EXPECT_TRUE(AllFalse(Gt(va, vb)));
  EXPECT_FALSE(AllFalse(Lt(va, vb)));
  const Lanes picked = lanesOf<D>(IfThenElse(Lt(va, vb), Set(d, 7.f), Set(d, 9.f)));
  EXPECT_EQ(picked, (Lanes{7.f, 9.f, 9.f, 9.f}));
  const Lanes zeroed = lanesOf<D>(IfThenElseZero(Eq(va, vb), vb));
  EXPECT_EQ(zeroed, (Lanes{0.f, 2.f, 0.f, 0.f}));

  alignas(16) const uint32_t words[4] = {0u, 5u, 0u, 0x80000000u};
  alignas(16) uint32_t out[4];
  const auto u = LoadU32(d, words);
  StoreU32(Or(IfThenElseZero(NeZero(u), SetU(d, 0x9u)), u), d, out);
  EXPECT_EQ(out[0], 0u);
  EXPECT_EQ(out[1], 0xDu);
  EXPECT_EQ(out[2], 0u);
  EXPECT_EQ(out[3], 0x80000009u);
}

TYPED_TEST(SimdOpsTest, ConversionsAndFloor) {
  using D = TypeParam;
  const D d;
  const std::vector<float> a = {0.f,  -0.f,  0.5f, -0.5f, 1.f,    -1.f,    2.75f,    -2.75f,
                                1e9f, -1e9f, 3.f,  -3.f,  0.999f, -0.999f, 12345.5f, -2147483520.f};
  for (size_t i = 0; i < a.size(); i += 4) {
    const auto v = LoadU(d, &a[i]);
    const Lanes trunc = lanesOf<D>(ConvertToFloat(TruncateToInt(v)));
    const Lanes fl = lanesOf<D>(simd::FloorViaTruncate(d, v));
    for (size_t l = 0; l < 4; ++l) {
      EXPECT_EQ(trunc[l], std::trunc(a[i + l])) << a[i + l];
      EXPECT_EQ(fl[l], std::floor(a[i + l])) << a[i + l];
    }
  }
  alignas(16) const uint32_t big[4] = {0u, 1u, 0x80000001u, 0xFFFFFFFFu};
  const Lanes conv = lanesOf<D>(ConvertToFloat(LoadU32(d, big)));
  for (int l = 0; l < 4; ++l) EXPECT_EQ(conv[l], static_cast<float>(big[l]));
}

TYPED_TEST(SimdOpsTest, SixteenBitLanesWrapAndWiden) {
  using D = TypeParam;
  const D d;
  std::mt19937 gen(3);
  std::uniform_int_distribution<int> dist(0, 65535);
  for (int rep = 0; rep < 200; ++rep) {
    uint16_t a[8], b[8];
    for (int l = 0; l < 8; ++l) {
      a[l] = static_cast<uint16_t>(rep < 2 ? (rep ? 65535 : 0) : dist(gen));
      b[l] = static_cast<uint16_t>(l == 3 ? a[l] : dist(gen));
    }
    const auto va = Load16(d, a), vb = Load16(d, b);
    const auto sum = Add16(va, vb), diff = Sub16(va, vb), gt = Gt16(va, vb);
    const auto orv = Or16(gt, Set16(d, 0));
    alignas(16) int32_t lo[4], hi[4];
    alignas(16) float loF[4], hiF[4], sumF[4], gtLo[4], gtHi[4];
    Store(ConvertToFloat(PromoteLowerSigned(diff)), d, loF);
    Store(ConvertToFloat(PromoteUpperSigned(diff)), d, hiF);
    Store(ConvertToFloat(PromoteLowerSigned(sum)), d, sumF);
    Store(IfThenElse(PromoteLowerMask(orv), Set(d, 1.f), Zero(d)), d, gtLo);
    Store(IfThenElse(PromoteUpperMask(gt), Set(d, 1.f), Zero(d)), d, gtHi);
    for (int l = 0; l < 4; ++l) {
      lo[l] = static_cast<int16_t>(static_cast<uint16_t>(a[l] - b[l]));
      hi[l] = static_cast<int16_t>(static_cast<uint16_t>(a[l + 4] - b[l + 4]));
      EXPECT_EQ(loF[l], static_cast<float>(lo[l]));
      EXPECT_EQ(hiF[l], static_cast<float>(hi[l]));
      EXPECT_EQ(sumF[l],
                static_cast<float>(static_cast<int16_t>(static_cast<uint16_t>(a[l] + b[l]))));
      EXPECT_EQ(gtLo[l], a[l] > b[l] ? 1.f : 0.f);
      EXPECT_EQ(gtHi[l], a[l + 4] > b[l + 4] ? 1.f : 0.f);
    }
  }
}

// The lane shuffles for interleaved data. Distinct values per lane make any
// swapped or duplicated lane visible.
TYPED_TEST(SimdOpsTest, InterleaveAndConcat) {
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

TYPED_TEST(SimdOpsTest, LoadInterleaved3AndStoreInterleaved4) {
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
