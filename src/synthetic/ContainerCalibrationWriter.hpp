#pragma once
// Writes a calibration record as a container ("ZYNSCL") blob, for tests,
// benchmarks, fuzz seeds and tools. The per-pixel float arrays (fixed-pattern
// noise and each frequency's phase noise) are stored plain or packed.
#include <cstdint>
#include <vector>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora::synth {

// How one per-pixel float array is stored. The three floats are written as
// its descriptor; a step of 0 stores plain floats, any other step packs the
// values into as many bits as the range needs at that step (24 bits and more
// are stored plain by the format's rule).
struct ContainerFloatEncoding {
  float minimum = 0.0f;
  float maximum = 1.0f;
  float step = 0.0f;
};

// The descriptor the format derives from an encoding.
struct ContainerQuantiser {
  uint32_t bits;  // width of a packed value
  float scale;    // value = minimum + code * scale
  bool packed;    // false: plain floats
  float minimum;

  explicit ContainerQuantiser(const ContainerFloatEncoding& encoding);
  // Nearest code for a value, clamped to the codes the width can hold.
  uint32_t code(float value) const;
  float value(uint32_t code) const { return minimum + static_cast<float>(code) * scale; }
};

struct ContainerWriterOptions {
  ContainerFloatEncoding fpn;
  ContainerFloatEncoding fppn;  // every frequency
  // The root header's two dimensions; 0 takes the region of interest's.
  uint32_t dimension0 = 0;
  uint32_t dimension1 = 0;
  // Written into the root header as is (a reader accepts only 1..3).
  uint16_t frequencyCount = 0;  // 0: the record's frequencyCount
};

// The record's pixel count is calibrationROI[2] * calibrationROI[3]; each
// frequency writes tempCompensationCount coefficients and its wiggling models'
// `count` terms (the amplitude model only with more than one frequency).
std::vector<uint8_t> writeContainerCalibration(const KelvoraCalibration& calibration,
                                               const ContainerWriterOptions& options);

}  // namespace kelvora::synth
