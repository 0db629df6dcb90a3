#include "calibration/PchipInterpolation.hpp"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace kelvora {

namespace {

// Secant slopes this small count as flat; the profile's values are exponents
// of order 1, so 1e-8 is far below anything meaningful.
constexpr float kFlatSlope = 1e-8f;

int signOf(float v) {
  return (v > 0.0f) - (v < 0.0f);
}

float interiorSlope(float h1, float h2, float d1, float d2) {
  if (std::fabs(d1) < kFlatSlope || std::fabs(d2) < kFlatSlope) return 0.0f;
  if (signOf(d1) != signOf(d2)) return 0.0f;  // local extremum: stay flat
  if (std::fabs(h2 - h1) < kFlatSlope) return 1.0f / ((1.0f / d1 + 1.0f / d2) * 0.5f);
  return 3.0f * (h1 + h2) / ((h1 + 2.0f * h2) / d1 + (2.0f * h1 + h2) / d2);
}

// Keeps a three-point end slope from overshooting: it may not point against
// the adjacent interval, nor exceed three times its secant next to an extremum.
float correctEndSlope(float d, float adjacent, float other) {
  if (signOf(d) != signOf(adjacent)) return 0.0f;
  if (signOf(adjacent) != signOf(other) && std::fabs(d) > std::fabs(3.0f * adjacent)) {
    return 3.0f * adjacent;
  }
  return d;
}

float* copyOf(const float* src, uint32_t n) {
  auto* dst = static_cast<float*>(std::malloc(sizeof(float) * (n == 0 ? 1 : n)));
  if (n != 0) std::memcpy(dst, src, sizeof(float) * n);
  return dst;
}

}  // namespace

KelvoraPolyHandle* kelvora_createPolyHandle(const float* x, const float* y, int32_t n) {
  const uint32_t count = n > 0 ? static_cast<uint32_t>(n) : 0u;
  auto* h = static_cast<KelvoraPolyHandle*>(std::malloc(sizeof(KelvoraPolyHandle)));
  h->count = count;
  h->x = copyOf(x, count);
  h->y = copyOf(y, count);
  h->slopes = static_cast<float*>(std::calloc(count == 0 ? 1 : count, sizeof(float)));
  if (count < 2) return h;
  float* s = h->slopes;
  if (count == 2) {
    s[0] = s[1] = (y[1] - y[0]) / (x[1] - x[0]);
    return h;
  }

  for (uint32_t i = 1; i + 1 < count; ++i) {
    const float h1 = x[i] - x[i - 1];
    const float h2 = x[i + 1] - x[i];
    s[i] = interiorSlope(h1, h2, (y[i] - y[i - 1]) / h1, (y[i + 1] - y[i]) / h2);
  }

  {
    const float h1 = x[1] - x[0];
    const float h2 = x[2] - x[1];
    const float d1 = (y[1] - y[0]) / h1;
    const float d2 = (y[2] - y[1]) / h2;
    const float d = ((2.0f * h1 + h2) * d1 - h1 * d2) / (h1 + h2);
    s[0] = correctEndSlope(d, d1, d2);
  }
  {
    const uint32_t l = count - 1;
    const float h1 = x[l - 1] - x[l - 2];
    const float h2 = x[l] - x[l - 1];
    const float d1 = (y[l - 1] - y[l - 2]) / h1;
    const float d2 = (y[l] - y[l - 1]) / h2;
    const float d = ((2.0f * h2 + h1) * d2 - h2 * d1) / (h1 + h2);
    s[l] = correctEndSlope(d, d2, d1);
  }
  return h;
}

void kelvora_freePoly(KelvoraPolyHandle* handle) {
  if (handle == nullptr) return;
  std::free(handle->x);
  std::free(handle->y);
  std::free(handle->slopes);
  std::free(handle);
}

float kelvora_cinterpol_def(const KelvoraPolyHandle* handle, float t, float defaultValue) {
  const uint32_t n = handle->count;
  if (n < 2) return defaultValue;
  const float* x = handle->x;
  const float* y = handle->y;
  const float* s = handle->slopes;
  for (uint32_t i = 0; i + 1 < n; ++i) {
    if (!(x[i] <= t && t <= x[i + 1])) continue;
    const float h = x[i + 1] - x[i];
    const float u = t - x[i];
    const float h2 = h * h;
    const float c2 = 3.0f * (y[i + 1] - y[i]) / h2 - (2.0f * s[i] + s[i + 1]) / h;
    const float c3 = 2.0f * (y[i] - y[i + 1]) / (h2 * h) + (s[i] + s[i + 1]) / h2;
    return y[i] + (s[i] + (c2 + c3 * u) * u) * u;
  }
  return defaultValue;
}

}  // namespace kelvora
