#pragma once
// The point cloud for a vector of pixels: x, y, z (metres) along the pixel's
// ray and a confidence 1 - noise / noiseThreshold, 0 for flagged pixels.
#include <cstddef>
#include <cstdint>

#include "filters/PointCloud.hpp"
#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// The points of the group's pixels from i, interleaved (x, y, z, confidence),
// through `store`.
template <class D, class G, class Store>
inline void PointGroup(D d, G g, const PointCloudImage& im, std::size_t i, Store store) {
  decltype(Zero(d)) rx, ry, rz;
  g.LoadRays(d, im.directions + 3 * i, rx, ry, rz);
  const auto dist = g.Load(d, im.distance + i);
  // 1 + (-noise) * (1 / threshold), rounded twice as the scalar formula is;
  // negating the reciprocal is exact.
  const auto confidence =
      MulAdd(g.Load(d, im.noise + i), Set(d, -(1.0f / im.noiseThreshold)), Set(d, 1.0f));
  const auto valid = Not(NeZero(g.Load32(d, im.flags + i)));
  store(Mul(dist, rx), Mul(dist, ry), Mul(dist, rz), IfThenElseZero(valid, confidence));
}

// One point per pixel in pixel order, flagged pixels included with
// confidence 0.
template <class D>
void PointCloudDenseKernel(D d, const PointCloudImage& im) {
  simd::ForEachGroup(d, 0, im.n, [&](auto g, std::size_t i) {
    PointGroup(d, g, im, i, [&](auto x, auto y, auto z, auto c) {
      g.StorePoints(d, x, y, z, c, im.cloud + 4 * i);
    });
  });
}

// Only unflagged pixels, packed without gaps; returns the number of floats
// written (four per point).
template <class D>
uint32_t PointCloudSparseKernel(D d, const PointCloudImage& im) {
  uint32_t written = 0;
  simd::ForEachGroup(d, 0, im.n, [&](auto g, std::size_t i) {
    alignas(64) float points[4 * D::kLanes];
    PointGroup(d, g, im, i,
               [&](auto x, auto y, auto z, auto c) { StoreInterleaved4(x, y, z, c, d, points); });
    for (std::size_t k = 0; k < g.count(); ++k) {
      if (im.flags[i + k] != 0) continue;
      for (std::size_t j = 0; j < 4; ++j) im.cloud[written + j] = points[4 * k + j];
      written += 4;
    }
  });
  return written;
}

}  // namespace kelvora::KELVORA_TARGET
