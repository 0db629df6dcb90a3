#pragma once
// The combine stage's last per-pixel steps in one sweep over the rows: noise
// test, flying-pixel test, point cloud, amplitude copy and image validation.
// Row y is finished in one pass over its groups, and validation clears row
// y - 1's distances right behind it: the flying-pixel test of row y still
// reads them as they were, and nothing after it does.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "base/PixelFlags.hpp"
#include "core/CombineStages.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// Internal linkage lets the compiler inline the group runner of each row
// loop into the sweep, so the group body's constants stay in registers
// instead of being reloaded from the body's captures after every store.
namespace {

// Lanes of the group at column x of a row of `width` that lie in columns
// 1 .. width - 2, the only ones the flying-pixel test looks at.
template <class D>
inline auto InteriorColumns(D d, std::size_t x, std::size_t width) {
  const std::size_t last = width - 1 - x;  // lanes before column width - 1
  return And(Not(FirstN(d, x == 0 ? 1 : 0)), FirstN(d, last < D::kLanes ? last : D::kLanes));
}

// The sweep with the switches that hold for the whole image as compile-time
// constants, so that each group's body stays small enough to be inlined.
template <bool kSparse, bool kValidate, class D>
uint32_t FinishImageRows(D d, const FinishImage& im) {
  const std::size_t w = im.width;
  const std::size_t h = im.height;
  const auto noiseThreshold = Set(d, im.noiseThreshold);
  // 1 + (-noise) * (1 / threshold), rounded twice as the scalar formula is;
  // negating the reciprocal is exact.
  const auto negInvThreshold = Set(d, -(1.0f / im.noiseThreshold));
  const auto one = Set(d, 1.0f);
  const auto nearDist = Set(d, im.limits.nearDist);
  const auto farDist = Set(d, im.limits.farDist);
  const auto f0 = Set(d, im.limits.f0);
  const auto f1 = Set(d, im.limits.f1);
  const auto slope = Set(d, im.limits.f1 - im.limits.f0);
  const auto span = Set(d, im.limits.farDist - im.limits.nearDist);
  const auto lowSignal = SetU(d, flags::kLowSignal);
  const auto flyingPixel = SetU(d, flags::kFlyingPixel);
  const auto invalid = SetU(d, flags::kInvalid);
  const bool testFlying = im.flagFlyingPixels && w >= 3 && h >= 3;
  uint32_t written = 0;
  uint32_t* const writtenAt = &written;  // the group body holds copies only

  const auto clearDistances = [=](auto g, std::size_t i) {
    const auto kept = Not(NeZero(g.Load32(d, im.flags + i)));
    g.Store(d, IfThenElseZero(kept, g.Load(d, im.distance + i)), im.distance + i);
  };

  const auto finishGroup = [=](auto g, std::size_t y, std::size_t x, auto flyingRow) {
    const std::size_t i = y * w + x;
    const auto distance = g.Load(d, im.distance + i);
    const auto noise = g.Load(d, im.noise + i);
    auto f = Or(g.Load32(d, im.flags + i), IfThenElseZero(Gt(noise, noiseThreshold), lowSignal));
    if constexpr (decltype(flyingRow)::value) {
      // Both horizontal neighbours, or else both vertical ones, further
      // from |d| than the limit (strictly).
      const auto dist = Abs(distance);
      const auto ramp = Add(f0, Div(Mul(Sub(dist, nearDist), slope), span));
      const auto limit =
          IfThenElse(Gt(dist, nearDist), IfThenElse(Lt(dist, farDist), ramp, f1), f0);
      const auto beyond = [&](std::ptrdiff_t offset) {
        return Gt(AbsDiff(g.Load(d, im.distance + i + offset), dist), limit);
      };
      const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(w);
      const auto flying = Or(And(beyond(-1), beyond(1)), And(beyond(-row), beyond(row)));
      // Masked as flag words rather than as a mask: a mask merged across the
      // branch is narrowed and widened again on NEON.
      auto raised = IfThenElseZero(flying, flyingPixel);
      if (x == 0 || x + D::kLanes >= w) raised = IfThenElseZero(InteriorColumns(d, x, w), raised);
      f = Or(f, raised);
    }
    const auto flagged = NeZero(f);
    const auto valid = Not(flagged);

    decltype(Zero(d)) rx, ry, rz;
    g.LoadRays(d, im.directions + 3 * i, rx, ry, rz);
    const auto confidence = IfThenElseZero(valid, MulAdd(noise, negInvThreshold, one));
    auto px = Mul(distance, rx);
    auto py = Mul(distance, ry);
    auto pz = Mul(distance, rz);
    if constexpr (kSparse) {
      alignas(64) float points[4 * D::kLanes];
      alignas(64) uint32_t words[D::kLanes];
      StoreInterleaved4(px, py, pz, confidence, d, points);
      StoreU32(f, d, words);
      for (std::size_t k = 0; k < g.count(); ++k) {
        if (words[k] != 0) continue;
        for (std::size_t j = 0; j < 4; ++j) im.cloud[*writtenAt + j] = points[4 * k + j];
        *writtenAt += 4;
      }
    } else {
      if constexpr (kValidate) {
        px = IfThenElseZero(valid, px);
        py = IfThenElseZero(valid, py);
        pz = IfThenElseZero(valid, pz);
      }
      g.StorePoints(d, px, py, pz, confidence, im.cloud + 4 * i);
    }

    if constexpr (kValidate) {
      g.Store(d, IfThenElseZero(valid, noise), im.noise + i);
      g.Store32(d, IfThenElseZero(flagged, invalid), im.flags + i);
      if (y >= 1) clearDistances(g, i - w);
    } else {
      g.Store32(d, f, im.flags + i);
    }
  };
  for (std::size_t y = 0; y < h; ++y) {
    if (testFlying && y >= 1 && y + 1 < h) {
      simd::ForEachGroup(d, 0, w,
                         [=](auto g, std::size_t x) { finishGroup(g, y, x, std::true_type()); });
    } else {
      simd::ForEachGroup(d, 0, w,
                         [=](auto g, std::size_t x) { finishGroup(g, y, x, std::false_type()); });
    }
  }
  if (kValidate && h >= 1) simd::ForEachGroup(d, (h - 1) * w, h * w, clearDistances);
  return written;
}

}  // namespace

template <class D>
uint32_t FinishImageKernel(D d, const FinishImage& im) {
  // A plain copy: inside the sweep its two pointers would cost registers
  // the per-group work needs.
  if (im.amplitudeIn != nullptr) {
    std::memmove(im.amplitudeOut, im.amplitudeIn, sizeof(float) * im.width * im.height);
  }
  if (im.sparseCloud) {
    return im.validate ? FinishImageRows<true, true>(d, im) : FinishImageRows<true, false>(d, im);
  }
  return im.validate ? FinishImageRows<false, true>(d, im) : FinishImageRows<false, false>(d, im);
}

}  // namespace kelvora::KELVORA_TARGET
