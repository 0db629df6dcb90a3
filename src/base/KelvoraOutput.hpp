#pragma once
#include <cstdint>

namespace kelvora {

// Caller-owned result buffers. Per-pixel buffers hold the pixel count rounded
// up to a multiple of 4 (pointCloud four times that), because the vector
// stages work on whole groups of four pixels.
struct KelvoraOutput {
  uint16_t width;
  uint16_t height;
  float* distance;          // metres, radial
  float* noise;             // metres, one standard deviation
  float* amplitude;         // raw units, of the last processed frequency
  float* pointCloud;        // x, y, z (metres), confidence per point
  uint32_t pointCloudSize;  // floats written into pointCloud
  float* intensity;
  uint32_t* flags;
  uint32_t exposureProposal[3];  // grey, then one per modulation frequency
};

}  // namespace kelvora
