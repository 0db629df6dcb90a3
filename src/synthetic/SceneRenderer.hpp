#pragma once
// Renders raw frame sets of a known scene (a back wall with a bright patch, a
// box, a slanted floor) for a calibration, together with the true radial
// distance of every pixel. The renderer inverts the calibration's corrections
// (wiggling, temperature drift, fixed-pattern noise) so that an exact pipeline
// recovers the true distances, and draws sensor noise from the calibration's
// own noise model, so the noise the pipeline reports is the noise present.
#include <cstdint>
#include <vector>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora::synth {

enum class SurfaceLabel : uint8_t { kNone = 0, kWall = 1, kBox = 2, kFloor = 3, kPatch = 4 };

struct SceneOptions {
  float wallDistance = 4.0f;  // metres, plane z = wallDistance
  bool withBox = true;        // box in front of the wall, left of centre
  bool withFloor = true;      // slanted floor below the camera
  bool withPatch = true;      // highly reflective patch on the wall (saturates)
  float wallReflectivity = 0.6f;
  float boxReflectivity = 0.8f;
  float floorReflectivity = 0.4f;
  float patchReflectivity = 40.0f;
  float illumination = 5.0f;   // amplitude per unit exposure at 1 m, reflectivity 1
  float ambient = 0.25f;       // grey level per unit exposure, reflectivity 1
  float blackLevel = 1600.0f;  // raw offset of the modulated samples
  float temperature = 36.0f;   // degC
  uint32_t greyExposure = 200;
  uint32_t modulatedExposure = 1000;  // both frequencies
  bool noise = true;
  uint32_t seed = 7;
};

struct SceneGeometry {
  std::vector<float> trueDistance;  // metres along each pixel's ray, 0 where nothing is hit
  std::vector<float> reflectivity;
  std::vector<SurfaceLabel> label;
};

struct RenderedFrameSet {
  uint32_t width = 0, height = 0;
  float temperature = 0.0f;
  uint32_t exposureTimes[3] = {0, 0, 0};
  std::vector<uint16_t> grey;
  // Per frequency, A0..A3. Raw row r holds image row r - 1 (the pipeline
  // skips raw row 0), so the image's last row is not in the frames.
  std::vector<uint16_t> phase[2][4];
  uint32_t frequencyCount = 0;
  uint32_t frequencies[2] = {0, 0};
};

// Casts every pixel's ray (directions: 3 floats per pixel, unit length).
SceneGeometry castScene(const float* directions, uint32_t width, uint32_t height,
                        const SceneOptions& options);

// Renders one frame set for the first one or two frequency records of the
// calibration. frameIndex varies the noise between frame sets.
RenderedFrameSet renderFrameSet(const KelvoraCalibration& calibration,
                                const SceneGeometry& geometry, const SceneOptions& options,
                                uint32_t frameIndex = 0);

// Single-frequency helpers, exposed for the tests of the per-pixel stage:
// the measured phase a pixel must show so that the corrected pipeline output
// is `distance`, and the four raw samples for an amplitude and offset.
double measuredPhaseFor(const KelvoraCalibrationFrequency& frequency, uint32_t pixel,
                        double distance, float temperature);
void samplesForPhase(double phase, double amplitude, double offset, double out[4]);

}  // namespace kelvora::synth
