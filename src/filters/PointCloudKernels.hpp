#pragma once
// Vector kernels of the point cloud, templates over the backend tag so tests
// can run them on every compiled backend. A point is x, y, z (metres) and a
// confidence 1 - noise / noiseThreshold, 0 for flagged pixels.
//
// No buffer is read or written past n pixels (directions past 3 x n): the
// last partial group works on zero-padded copies.
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

// Points of the last pixels i .. n-1 (fewer than four) into pts (16 floats).
// Every input is staged, since the output images and the cloud may be a
// caller's arrays of exactly n pixels.
template <class D>
void computeTailGroup(D d, uint32_t i, uint32_t n, const float* distance, const float* noise,
                      const uint32_t* flags, const float* directions,
                      decltype(Set(D(), 0.f)) negInvThreshold, decltype(Set(D(), 0.f)) one,
                      float* pts) {
  alignas(16) float rays[12];
  alignas(16) float dist[4] = {0.f, 0.f, 0.f, 0.f};
  alignas(16) float noi[4] = {0.f, 0.f, 0.f, 0.f};
  alignas(16) uint32_t fl[4] = {0u, 0u, 0u, 0u};
  for (uint32_t j = 0; i + j < n; ++j) {
    dist[j] = distance[i + j];
    noi[j] = noise[i + j];
    fl[j] = flags[i + j];
  }
  computeGroup(d, dist, noi, fl, paddedRays(directions, i, n, rays), negInvThreshold, one, pts);
}

}  // namespace pointcloud_detail

// One point per pixel in pixel order, flagged pixels included with confidence
// 0. Returns 4 x n rounded up to a multiple of 16, the count of whole groups,
// while storing only the 4 x n floats of real pixels.
template <class D>
uint32_t pointCloudDense(D d, uint32_t n, const float* distance, const float* noise,
                         const uint32_t* flags, const float* directions, float noiseThreshold,
                         float* cloud) {
  // Negating the reciprocal is exact, so this is 1 + (-noise) * k.
  const auto negK = Set(d, -(1.0f / noiseThreshold));
  const auto one = Set(d, 1.0f);
  uint32_t i = 0;
  for (; i + simd::kLanes <= n; i += simd::kLanes) {
    pointcloud_detail::computeGroup(d, distance + i, noise + i, flags + i, directions + 3u * i,
                                    negK, one, cloud + 4u * i);
  }
  if (i < n) {
    // The count still covers the whole group, but only real pixels' points
    // are stored: the cloud may hold exactly 4 x n floats.
    alignas(16) float pts[16];
    pointcloud_detail::computeTailGroup(d, i, n, distance, noise, flags, directions, negK, one,
                                        pts);
    std::memcpy(cloud + 4u * i, pts, sizeof(float) * 4u * (n - i));
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
  alignas(16) float pts[16];
  uint32_t written = 0;
  for (uint32_t i = 0; i < n; i += simd::kLanes) {
    const uint32_t lanes = n - i < simd::kLanes ? n - i : simd::kLanes;
    if (lanes == simd::kLanes) {
      pointcloud_detail::computeGroup(d, distance + i, noise + i, flags + i, directions + 3u * i,
                                      negK, one, pts);
    } else {
      pointcloud_detail::computeTailGroup(d, i, n, distance, noise, flags, directions, negK, one,
                                          pts);
    }
    for (uint32_t j = 0; j < lanes; ++j) {
      if (flags[i + j] != 0) continue;
      std::memcpy(cloud + written, pts + 4u * j, sizeof(float) * 4u);
      written += 4u;
    }
  }
  return written;
}

}  // namespace kelvora
