#pragma once
// Synthetic frames and buffers for the raw-to-distance stage benchmarks: a
// tilted plane of distances rendered into four phase frames per frequency.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "core/CalcPixel.hpp"
#include "simd/Simd.hpp"

namespace kelvora::bench {

constexpr uint32_t kF1 = 80320000, kF2 = 60240000;

inline void sensorSizes(benchmark::internal::Benchmark* b) {
  b->Args({224, 172})->Args({640, 480})->Unit(benchmark::kMicrosecond);
}

struct PerFrequency {
  std::vector<uint16_t> frames[4];
  std::vector<float> imag, real, asym, fppn, amplitude, phase, rawNoise, phaseNoise, normAmp,
      distance, distNoise;
};

struct StageData {
  uint32_t width, height, n;
  PerFrequency f[2];
  std::vector<float> intensity, pw, aw, dist, diff, noise;
  std::vector<uint32_t> flags;

  StageData(uint32_t w, uint32_t h) : width(w), height(h), n(w * h) {
    const uint32_t padded = simd::roundUpToLanes(n);
    uint32_t seed = 12345;
    for (uint32_t k = 0; k < 2; ++k) {
      PerFrequency& p = f[k];
      const double range = 149852320.0 / (k == 0 ? kF1 : kF2);
      for (auto& fr : p.frames) fr.resize(n);
      for (uint32_t i = 0; i < n; ++i) {
        const double d = 0.5 + 6.0 * (i % w) / w + 0.5 * (i / w) / h;
        const double phi = 6.283185307179586 * std::fmod(d, range) / range;
        seed = seed * 1664525u + 1013904223u;
        const double a = 300.0 + (seed >> 20);  // amplitudes 300..4395
        for (uint32_t s = 0; s < 4; ++s) {
          p.frames[s][i] = static_cast<uint16_t>(5000.0 + a * std::cos(phi + s * 1.5707963));
        }
      }
      for (auto* v : {&p.imag, &p.real, &p.asym, &p.fppn, &p.amplitude, &p.phase, &p.rawNoise,
                      &p.phaseNoise, &p.normAmp, &p.distance, &p.distNoise}) {
        v->assign(padded, 0.0f);
      }
    }
    intensity.assign(padded, 1.0f);
    dist = diff = noise = intensity;
    flags.assign(padded, 0u);
    for (uint32_t i = 0; i < kWigglingTableSize; ++i) {
      const double x = i * 6.283185307179586 / 16383.0;
      pw.push_back(static_cast<float>(0.02 * std::sin(x)));
      aw.push_back(static_cast<float>(1.0 / (1.0 + 0.05 * std::sin(x))));
    }
  }

  const uint16_t* const* frames(uint32_t k) {
    for (uint32_t s = 0; s < 4; ++s) framePtrs[s] = f[k].frames[s].data();
    return framePtrs;
  }

  CalcPixelConstants constants(uint32_t k) const {
    CalcPixelConstants c{};
    c.metresPerRadian = kMetresPerRadianTimesHz / static_cast<float>(k == 0 ? kF1 : kF2);
    c.exposure = 500.0f;
    c.temperatureOffset = 0.01f;
    c.limitFactor = 0.2f;
    c.amplitudeThreshold = 20.0f;
    c.noise0 = 0.7f;
    c.noise1 = 3.0f;
    c.noise2TimesExposure = 0.1f * c.exposure;
    c.noise3 = 3000.0f;
    c.normaliseAmplitude = true;
    return c;
  }

  CalcPixelBuffers buffers(uint32_t k) {
    PerFrequency& p = f[k];
    return CalcPixelBuffers{p.imag.data(),     p.real.data(),       p.asym.data(),
                            intensity.data(),  p.fppn.data(),       pw.data(),
                            aw.data(),         p.amplitude.data(),  p.phase.data(),
                            p.rawNoise.data(), p.phaseNoise.data(), p.normAmp.data(),
                            p.distance.data(), p.distNoise.data(),  flags.data()};
  }

 private:
  const uint16_t* framePtrs[4] = {};
};

}  // namespace kelvora::bench
