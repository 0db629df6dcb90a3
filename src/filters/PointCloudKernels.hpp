#pragma once
// Vector kernels of the point cloud, templates over the backend tag so tests
// can run them on every compiled backend. A point is x, y, z (metres) and a
// confidence 1 - noise / noiseThreshold, 0 for flagged pixels.
//
// distance, noise and flags are per-pixel buffers padded to whole groups of
// four; directions holds exactly 3 x n floats and is never read past its end:
// the last partial group reads a zero-padded copy.
#include <cstdint>
#include <cstring>

#include "simd/Simd.hpp"

namespace kelvora {

namespace pointcloud_detail {

// Points of pixels i .. i+3, interleaved (x, y, z, confidence) into pts.
template <class D>
void computeGroup(D d, const float* distance, const float* noise, const uint32_t* flags,
                  const float* rays, decltype(Set(D(), 0.f)) negInvThreshold,
                  decltype(Set(D(), 0.f)) one, float* pts) {
  decltype(Set(D(), 0.f)) rx, ry, rz;
  LoadInterleaved3(d, rays, rx, ry, rz);
  const auto dist = LoadU(d, distance);
  // 1 + (-noise) * (1 / threshold), rounded twice as the scalar formula is.
  const auto confidence = MulAdd(LoadU(d, noise), negInvThreshold, one);
  const auto valid = Not(NeZero(LoadU32(d, flags)));
  StoreInterleaved4(Mul(dist, rx), Mul(dist, ry), Mul(dist, rz), IfThenElseZero(valid, confidence),
                    d, pts);
}

// Rays of pixels i .. n-1 (fewer than four), zero-padded to a whole group.
inline const float* paddedRays(const float* directions, uint32_t i, uint32_t n, float* scratch) {
  std::memset(scratch, 0, sizeof(float) * 12);
  std::memcpy(scratch, directions + 3u * i, sizeof(float) * 3u * (n - i));
  return scratch;
}

}  // namespace pointcloud_detail

// One point per pixel in pixel order, flagged pixels included with confidence
// 0. Writes whole groups: 4 x n rounded up to a multiple of 16 floats (the
// padding lanes get zero rays), and returns that count.
template <class D>
uint32_t pointCloudDense(D d, uint32_t n, const float* distance, const float* noise,
                         const uint32_t* flags, const float* directions, float noiseThreshold,
                         float* cloud) {
  // Negating the reciprocal is exact, so this is 1 + (-noise) * k.
  const auto negK = Set(d, -(1.0f / noiseThreshold));
  const auto one = Set(d, 1.0f);
  alignas(16) float rays[12];
  uint32_t i = 0;
  for (; i + simd::kLanes <= n; i += simd::kLanes) {
    pointcloud_detail::computeGroup(d, distance + i, noise + i, flags + i, directions + 3u * i,
                                    negK, one, cloud + 4u * i);
  }
  if (i < n) {
    pointcloud_detail::computeGroup(d, distance + i, noise + i, flags + i,
                                    pointcloud_detail::paddedRays(directions, i, n, rays), negK,
                                    one, cloud + 4u * i);
    i += simd::kLanes;
  }
  return 4u * i;
}

// Only unflagged pixels, packed without gaps; returns the number of floats
// written (four per point). Pixels at and past n are never emitted.
template <class D>
uint32_t pointCloudSparse(D d, uint32_t n, const float* distance, const float* noise,
                          const uint32_t* flags, const float* directions, float noiseThreshold,
                          float* cloud) {
  const auto negK = Set(d, -(1.0f / noiseThreshold));
  const auto one = Set(d, 1.0f);
  alignas(16) float rays[12];
  alignas(16) float pts[16];
  uint32_t written = 0;
  for (uint32_t i = 0; i < n; i += simd::kLanes) {
    const uint32_t lanes = n - i < simd::kLanes ? n - i : simd::kLanes;
    const float* groupRays = lanes == simd::kLanes
                                 ? directions + 3u * i
                                 : pointcloud_detail::paddedRays(directions, i, n, rays);
    pointcloud_detail::computeGroup(d, distance + i, noise + i, flags + i, groupRays, negK, one,
                                    pts);
    for (uint32_t j = 0; j < lanes; ++j) {
      if (flags[i + j] != 0) continue;
      std::memcpy(cloud + written, pts + 4u * j, sizeof(float) * 4u);
      written += 4u;
    }
  }
  return written;
}

}  // namespace kelvora
