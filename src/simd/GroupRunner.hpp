#pragma once
// The one tail rule of every per-pixel kernel. A kernel body is written once,
// as a generic lambda over a group of lanes, and ForEachGroup runs it over a
// row or a buffer: in whole groups of the backend's width, then once over the
// rest as a partial group. A partial group reads and writes only its first
// `count` elements (the other lanes read as zero and are never stored), so no
// buffer needs padding and a caller's array of exactly n elements is safe.
// Whole groups compile to plain unaligned loads and stores.
//
// Only templates over the backend tag live here: every target's translation
// unit instantiates its own copies under its own names.
#include <cstddef>
#include <cstdint>

namespace kelvora::simd {

template <class D>
struct WholeGroup {
  static constexpr std::size_t kLanes = D::kLanes;
  static constexpr bool kWhole = true;
  std::size_t count() const { return kLanes; }

  auto Load(D d, const float* p) const { return LoadU(d, p); }
  auto Load32(D d, const uint32_t* p) const { return LoadU32(d, p); }
  auto LoadSamples(D d, const uint16_t* p) const { return LoadU16ToI32(d, p); }
  template <class V>
  void Store(D d, V v, float* p) const {
    StoreU(v, d, p);
  }
  template <class V>
  void Store32(D d, V v, uint32_t* p) const {
    StoreU32(v, d, p);
  }
  // Two floats per lane (complex pairs, two columns), as two vectors.
  template <class V>
  void LoadPair(D d, const float* p, V& lo, V& hi) const {
    lo = LoadU(d, p);
    hi = LoadU(d, p + kLanes);
  }
  template <class V>
  void StorePair(D d, V lo, V hi, float* p) const {
    StoreU(lo, d, p);
    StoreU(hi, d, p + kLanes);
  }
  // Three floats per lane (x, y, z rays) in, four per lane (points) out.
  template <class V>
  void LoadRays(D d, const float* p, V& x, V& y, V& z) const {
    LoadInterleaved3(d, p, x, y, z);
  }
  template <class V>
  void StorePoints(D d, V a, V b, V c, V e, float* p) const {
    StoreInterleaved4(a, b, c, e, d, p);
  }
};

template <class D>
struct PartialGroup {
  static constexpr std::size_t kLanes = D::kLanes;
  static constexpr bool kWhole = false;
  std::size_t lanes;  // 1 .. kLanes - 1
  std::size_t count() const { return lanes; }

  auto Load(D d, const float* p) const { return LoadN(d, p, lanes); }
  auto Load32(D d, const uint32_t* p) const { return LoadN32(d, p, lanes); }
  auto LoadSamples(D d, const uint16_t* p) const { return LoadNU16ToI32(d, p, lanes); }
  template <class V>
  void Store(D d, V v, float* p) const {
    StoreN(v, d, p, lanes);
  }
  template <class V>
  void Store32(D d, V v, uint32_t* p) const {
    StoreN32(v, d, p, lanes);
  }
  template <class V>
  void LoadPair(D d, const float* p, V& lo, V& hi) const {
    lo = LoadN(d, p, lowerCount(2 * lanes));
    hi = LoadN(d, p + kLanes, upperCount(2 * lanes));
  }
  template <class V>
  void StorePair(D d, V lo, V hi, float* p) const {
    StoreN(lo, d, p, lowerCount(2 * lanes));
    StoreN(hi, d, p + kLanes, upperCount(2 * lanes));
  }
  template <class V>
  void LoadRays(D d, const float* p, V& x, V& y, V& z) const {
    alignas(64) float rays[3 * kLanes] = {};
    for (std::size_t i = 0; i < 3 * lanes; ++i) rays[i] = p[i];
    LoadInterleaved3(d, rays, x, y, z);
  }
  template <class V>
  void StorePoints(D d, V a, V b, V c, V e, float* p) const {
    alignas(64) float points[4 * kLanes];
    StoreInterleaved4(a, b, c, e, d, points);
    for (std::size_t i = 0; i < 4 * lanes; ++i) p[i] = points[i];
  }

 private:
  static std::size_t lowerCount(std::size_t n) { return n < kLanes ? n : kLanes; }
  static std::size_t upperCount(std::size_t n) { return n > kLanes ? n - kLanes : 0; }
};

// body(group, i) for the groups starting at i = begin, begin + lanes, ...
// that cover [begin, end): whole ones, then at most one partial one.
template <class D, class Body>
inline void ForEachGroup(D, std::size_t begin, std::size_t end, Body&& body) {
  constexpr std::size_t kLanes = D::kLanes;
  std::size_t i = begin;
  for (; i + kLanes <= end; i += kLanes) body(WholeGroup<D>{}, i);
  if (i < end) {
    // The partial group runs on a copy of the body: the compiler may call it
    // out of line, and a body whose address is taken has its captures
    // reloaded from memory after every store of the whole groups' loop.
    auto tail = body;
    tail(PartialGroup<D>{end - i}, i);
  }
}

}  // namespace kelvora::simd
