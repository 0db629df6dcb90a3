#include "synthetic/SyntheticCalibration.hpp"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace kelvora::synth {

uint64_t SplitMix::next() {
  uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

float SplitMix::uniform(float lo, float hi) {
  const double u = static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0);
  return static_cast<float>(lo + (hi - lo) * u);
}

float SplitMix::gaussian() {
  const double u1 = (static_cast<double>(next() >> 11) + 1.0) * (1.0 / 9007199254740993.0);
  const double u2 = static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0);
  return static_cast<float>(std::sqrt(-2.0 * std::log(u1)) * std::cos(6.283185307179586 * u2));
}

namespace {

void fillText(char* buffer, const char* text) {
  std::memset(buffer, 0, kCalibrationTextCapacity);
  std::snprintf(buffer, kCalibrationTextCapacity, "%s", text);
}

void fillWiggling(KelvoraWiggling& w, uint8_t count, const float* amplitudes,
                  const uint32_t* harmonics, const float* phases, float offset, float scale) {
  w.count = count;
  for (uint8_t k = 0; k < count; ++k) {
    w.amplitude[k] = amplitudes[k] * scale;
    w.harmonic[k] = harmonics[k];
    w.phase[k] = phases[k];
  }
  w.offset = offset;
}

// The smallest size >= n whose only prime factors are 2, 3 and 5, which the
// FFT handles efficiently.
uint32_t fftFriendlySize(uint32_t n) {
  for (uint32_t m = n;; ++m) {
    uint32_t r = m;
    for (uint32_t p : {2u, 3u, 5u}) {
      while (r % p == 0) r /= p;
    }
    if (r == 1) return m;
  }
}

void fillStrayLight(KelvoraCalibration& c, uint32_t width, uint32_t height) {
  // A faint, slowly decaying halo: sample = scale * exp(-value(radius)).
  // About 3 % of the light ends up in the halo: the kernel's integral is
  // roughly scale * 2 pi / 0.03^2.
  c.psfScale = 4.0e-6f;
  c.psfPointCount = 13;
  for (int i = 0; i < 13; ++i) {
    const float r = 1.5f * static_cast<float>(i + 1) * static_cast<float>(i + 1);
    c.psfRadii[i] = r;
    c.psfValues[i] = 0.03f * r;
  }
  c.psfExponent = 2.0f;
  c.psfOffset = 0.0f;
  c.psfCentre = 0.0f;
  c.psfWidth = fftFriendlySize(width + 32);
  c.psfHeight = fftFriendlySize(height + 32);
}

}  // namespace

KelvoraCalibration* makeSyntheticCalibration(const SyntheticCalibrationOptions& o) {
  const uint32_t n = o.width * o.height;
  KelvoraCalibration* c = allocateCalibration(n);
  SplitMix rng(o.seed);
  const float s = o.correctionScale;

  c->version = 1;
  c->type = 2;
  fillText(c->date, "2026-11-23 12:00:00");
  fillText(c->serial, "KV0000001");
  fillText(c->sensorSerial, "SN-224172-00000001");
  c->calibrationROI[0] = 0;
  c->calibrationROI[1] = 0;
  c->calibrationROI[2] = o.width;
  c->calibrationROI[3] = o.height;

  const float fx = 0.5f * static_cast<float>(o.width) /
                   std::tan(0.5f * o.horizontalFovDegrees * 3.14159265f / 180.0f);
  const float lens[9] = {fx,
                         fx * 1.002f,
                         0.5f * static_cast<float>(o.width) - 0.5f + 0.8f,
                         0.5f * static_cast<float>(o.height) - 0.5f - 0.6f,
                         -0.08f * s,
                         0.015f * s,
                         0.0004f * s,
                         -0.0003f * s,
                         -0.001f * s};
  c->lensParameterCount = 9;
  std::memcpy(c->lensParameters, lens, sizeof lens);

  for (uint32_t i = 0; i < n; ++i) {
    c->mask[i] = rng.uniform(0.f, 1.f) < o.maskedFraction ? 1 : 0;
    c->fpn[i] = s * rng.uniform(-6.f, 6.f);
  }

  c->frequencyCount = static_cast<uint8_t>(o.frequencies.size());
  for (size_t f = 0; f < o.frequencies.size() && f < kCalibrationFrequencyCapacity; ++f) {
    KelvoraCalibrationFrequency& fr = c->frequencies[f];
    fr.modulationFrequency = o.frequencies[f];
    for (uint32_t i = 0; i < n; ++i) fr.fppn[i] = s * rng.uniform(-0.02f, 0.02f);  // metres
    const float fscale = 1.0f + 0.1f * static_cast<float>(f);
    fr.tempCompensationCount = 4;
    const float temp[4] = {o.referenceTemperature, s * 1.5e-3f * fscale, s * 2.0e-5f, s * -1.0e-7f};
    std::memcpy(fr.tempCompensation, temp, sizeof temp);
    fr.noiseParameterCount = 4;
    // s = c0 * amplitude + c2 * exposure * grey; variance = s + c1 below the
    // knee c3 and 2s - c3 + c1 above it.
    const float noise[4] = {0.5f, 9.0f, 0.02f, 4000.0f};
    std::memcpy(fr.noiseParameters, noise, sizeof noise);

    const float phaseAmp[3] = {0.020f * fscale, 0.008f, 0.003f};
    const uint32_t phaseHarm[3] = {1, 2, 4};
    const float phasePhase[3] = {0.3f, 1.1f + 0.2f * static_cast<float>(f), -0.7f};
    fillWiggling(fr.phaseWiggling, 3, phaseAmp, phaseHarm, phasePhase, 0.0f, s);
    const float ampAmp[2] = {0.03f, 0.01f};
    const uint32_t ampHarm[2] = {1, 2};
    const float ampPhase[2] = {0.5f, -1.2f};
    fillWiggling(fr.amplitudeWiggling, 2, ampAmp, ampHarm, ampPhase, 1.0f, s);
  }

  c->customFieldCount = 0;
  if (o.strayLight) fillStrayLight(*c, o.width, o.height);
  return c;
}

}  // namespace kelvora::synth
