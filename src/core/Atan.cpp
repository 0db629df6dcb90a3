#include "core/Atan.hpp"

#include <cmath>

namespace kelvora {

const float kAtanTable[33] = {
    0.0f,         0.032246884f, 0.0644268394f, 0.0964737758f, 0.128323227f, 0.159913123f,
    0.191184461f, 0.2220819f,   0.252554268f,  0.282554954f,  0.312042117f, 0.34097895f,
    0.369333655f, 0.397079438f, 0.424194396f,  0.450661331f,  0.476467431f, 0.50160408f,
    0.526066422f, 0.549853206f, 0.572966158f,  0.59540987f,   0.617191374f, 0.63831979f,
    0.658806026f, 0.678662479f, 0.697902799f,  0.716541648f,  0.734594464f, 0.752077162f,
    0.769006193f, 0.785398185f, 0.785398185f,
};

float zyn_atanf(float x) {
  const float sign = x > 0.0f ? 1.0f : -1.0f;
  const float a = std::fabs(x);
  const bool folded = a >= 1.0f;
  const float u = folded ? 1.0f / a : a;
  float p = u * 31.0f;
  p = 0.0f < p ? p : 0.0f;  // also NaN -> 0: never index outside the table
  p = 31.0f < p ? 31.0f : p;
  const uint32_t m = static_cast<uint32_t>(p);
  const uint32_t m2 = m == 31u ? 31u : m + 1u;
  const float t = (u - static_cast<float>(m) * kAtanStep) * 31.0f;
  const float r = (kAtanTable[m] + t * (kAtanTable[m2] - kAtanTable[m])) * sign;
  return folded ? sign * kAtanHalfPi - r : r;
}

}  // namespace kelvora
