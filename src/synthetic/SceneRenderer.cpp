#include "synthetic/SceneRenderer.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::synth {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kSensorMax = 4095.0;  // 12-bit samples: the sensor clips here

struct Hit {
  double t = std::numeric_limits<double>::infinity();
  SurfaceLabel label = SurfaceLabel::kNone;
  float reflectivity = 0.0f;
};

void consider(Hit& best, double t, SurfaceLabel label, float reflectivity) {
  if (t > 1e-6 && t < best.t) best = {t, label, reflectivity};
}

// Ray / axis-aligned box by slabs; returns the entry distance or infinity.
double intersectBox(const double d[3], const double lo[3], const double hi[3]) {
  double tNear = 0.0, tFar = std::numeric_limits<double>::infinity();
  for (int a = 0; a < 3; ++a) {
    if (std::fabs(d[a]) < 1e-12) {
      if (0.0 < lo[a] || 0.0 > hi[a]) return std::numeric_limits<double>::infinity();
      continue;
    }
    double t0 = lo[a] / d[a], t1 = hi[a] / d[a];
    if (t0 > t1) std::swap(t0, t1);
    tNear = std::max(tNear, t0);
    tFar = std::min(tFar, t1);
  }
  return tNear <= tFar ? tNear : std::numeric_limits<double>::infinity();
}

Hit castRay(const double d[3], const SceneOptions& o) {
  Hit best;
  if (d[2] > 0) {  // back wall z = wallDistance, with the patch on it
    const double t = o.wallDistance / d[2];
    const double x = t * d[0], y = t * d[1];
    const bool patch = o.withPatch && x > 0.6 && x < 1.0 && y > -0.8 && y < -0.4;
    consider(best, t, patch ? SurfaceLabel::kPatch : SurfaceLabel::kWall,
             patch ? o.patchReflectivity : o.wallReflectivity);
  }
  if (o.withFloor) {  // y grows downwards: floor y = 0.75 + 0.06 z
    const double denom = d[1] - 0.06 * d[2];
    if (denom > 0) consider(best, 0.75 / denom, SurfaceLabel::kFloor, o.floorReflectivity);
  }
  if (o.withBox) {
    const double lo[3] = {-0.9, 0.0, 2.2}, hi[3] = {-0.1, 0.95, 2.9};
    consider(best, intersectBox(d, lo, hi), SurfaceLabel::kBox, o.boxReflectivity);
  }
  return best;
}

double wigglingSum(const KelvoraWiggling& w, double x, double start) {
  double s = start;
  for (uint32_t k = 0; k < w.count; ++k)
    s += w.amplitude[k] * std::sin(x * w.harmonic[k] + w.phase[k]);
  return s;
}

double wrapPhase(double p) {
  p = std::fmod(p, kTwoPi);
  return p < 0 ? p + kTwoPi : p;
}

uint16_t toSample(double v) {
  return static_cast<uint16_t>(std::lround(std::clamp(v, 0.0, kSensorMax)));
}

}  // namespace

SceneGeometry castScene(const float* directions, uint32_t width, uint32_t height,
                        const SceneOptions& options) {
  const uint32_t n = width * height;
  SceneGeometry g;
  g.trueDistance.assign(n, 0.0f);
  g.reflectivity.assign(n, 0.0f);
  g.label.assign(n, SurfaceLabel::kNone);
  for (uint32_t i = 0; i < n; ++i) {
    const double d[3] = {directions[3 * i], directions[3 * i + 1], directions[3 * i + 2]};
    const Hit h = castRay(d, options);
    if (h.label == SurfaceLabel::kNone) continue;
    g.trueDistance[i] = static_cast<float>(h.t);
    g.reflectivity[i] = h.reflectivity;
    g.label[i] = h.label;
  }
  return g;
}

double measuredPhaseFor(const KelvoraCalibrationFrequency& f, uint32_t pixel, double distance,
                        float temperature) {
  const float* t = f.tempCompensation;
  const double dT = static_cast<double>(temperature) - t[0];
  const double drift = dT * (t[1] + dT * (t[2] + dT * t[3]));
  // The pipeline's metres per radian, as the float it computes.
  const double k = static_cast<double>(23849736.0f / static_cast<float>(f.modulationFrequency));
  const double target = wrapPhase((distance + drift - f.fppn[pixel]) / k);
  // Solve phi + W(phi) = target; W changes slowly, so the iteration contracts.
  double phi = target;
  for (int it = 0; it < 30; ++it) phi = target - wigglingSum(f.phaseWiggling, phi, 0.0);
  return wrapPhase(phi);
}

void samplesForPhase(double phase, double amplitude, double offset, double out[4]) {
  // real = A0 - A2 = 2a cos(phi), imag = A1 - A3 = -2a sin(phi).
  out[0] = offset + amplitude * std::cos(phase);
  out[1] = offset - amplitude * std::sin(phase);
  out[2] = offset - amplitude * std::cos(phase);
  out[3] = offset + amplitude * std::sin(phase);
}

RenderedFrameSet renderFrameSet(const KelvoraCalibration& c, const SceneGeometry& g,
                                const SceneOptions& o, uint32_t frameIndex) {
  const uint32_t width = c.calibrationROI[2], height = c.calibrationROI[3];
  const uint32_t n = width * height;
  RenderedFrameSet r;
  r.width = width;
  r.height = height;
  r.temperature = o.temperature;
  r.exposureTimes[0] = o.greyExposure;
  r.exposureTimes[1] = o.modulatedExposure;
  r.exposureTimes[2] = o.modulatedExposure;
  r.frequencyCount = std::min<uint32_t>(c.frequencyCount, 2);
  SplitMix rng(o.seed * 0x9E3779B9ull + frameIndex);

  r.grey.resize(n);
  std::vector<double> greyRate(n);  // ambient grey level per unit exposure
  for (uint32_t i = 0; i < n; ++i) {
    greyRate[i] = o.ambient * g.reflectivity[i];
    const double clean = o.greyExposure * greyRate[i];
    const double noise = o.noise ? std::sqrt(std::max(1.0, clean)) * rng.gaussian() : 0.0;
    // The pipeline subtracts fpn from the raw grey sample.
    r.grey[i] = toSample(c.fpn[i] + clean + noise);
  }

  for (uint32_t f = 0; f < r.frequencyCount; ++f) {
    const KelvoraCalibrationFrequency& fr = c.frequencies[f];
    r.frequencies[f] = fr.modulationFrequency;
    const float* nc = fr.noiseParameters;
    const double e = o.modulatedExposure;
    for (auto& frame : r.phase[f]) frame.resize(n);
    for (uint32_t i = 0; i < n; ++i) {
      const double d = g.trueDistance[i];
      const double phase = measuredPhaseFor(fr, i, d, o.temperature);
      // Amplitude wiggling scales what the sensor shows; the pipeline divides
      // it out again for the normalised amplitude. Only a calibration of two
      // frequencies carries that model (the pipeline uses it for the
      // multipath test alone), so with one the amplitude is left unscaled.
      const double trueAmplitude = d > 0 ? e * o.illumination * g.reflectivity[i] / (d * d) : 0.0;
      const double amplitude = r.frequencyCount > 1
                                   ? trueAmplitude * wigglingSum(fr.amplitudeWiggling, phase,
                                                                 fr.amplitudeWiggling.offset)
                                   : trueAmplitude;
      double samples[4];
      samplesForPhase(phase, amplitude, o.blackLevel + e * greyRate[i], samples);
      double sigma = 0.0;
      if (o.noise) {
        // Per-sample noise whose quadrature differences carry exactly the raw
        // noise the calibration's model predicts (rawNoise = sigma / sqrt 2).
        const double s = nc[0] * amplitude + nc[2] * e * greyRate[i];
        const double variance = s >= nc[3] ? 2 * s - nc[3] + nc[1] : s + nc[1];
        sigma = std::sqrt(2.0 * std::max(0.0, variance));
      }
      // The sensor reads one extra row ahead of the image: raw row r of the
      // phase frames holds image row r - 1, and raw row 0 repeats row 0.
      for (int k = 0; k < 4; ++k) {
        const uint16_t v = toSample(samples[k] + (o.noise ? sigma * rng.gaussian() : 0.0));
        if (i + width < n) r.phase[f][k][i + width] = v;
        if (i < width) r.phase[f][k][i] = v;
      }
    }
  }
  return r;
}

}  // namespace kelvora::synth
