#pragma once
// Identity of every processing parameter. The numeric values are fixed: they
// are the registry's order and the search in a configuration uses a key as
// its first guess for the position.
#include <cstdint>

namespace kelvora {

enum ParameterKey : uint32_t {
  INVALID_PARAMETER_KEY = 0,
  AMPLITUDE_THRESHOLD = 1,
  CONSISTENCY_TOLERANCE = 2,
  NOISE_THRESHOLD = 3,
  ADAPTIVE_NOISE_FILTER_TYPE = 4,
  EXPOSURE_REFERENCE_AMPLITUDE = 5,
  FLYING_PIXEL_F0 = 6,
  FLYING_PIXEL_F1 = 7,
  FLYING_PIXEL_FAR_DIST = 8,
  FLYING_PIXEL_NEAR_DIST = 9,
  MPI_AMPLITUDE_THRESHOLD = 10,
  MPI_DISTANCE_THRESHOLD = 11,
  MPI_NOISE_DISTANCE = 12,
  SATURATION_THRESHOLD_LOWER = 13,
  SATURATION_THRESHOLD_UPPER = 14,
  USE_ADAPTIVE_NOISE_FILTER = 15,
  USE_AUTO_EXPOSURE = 16,
  USE_REMOVE_FLYING_PIXEL = 17,
  USE_MPI_FLAG_AVERAGE = 18,
  USE_MPI_FLAG_AMPLITUDE = 19,
  USE_MPI_FLAG_DISTANCE = 20,
  USE_VALIDATE_IMAGE = 21,
  USE_SPARSE_POINT_CLOUD = 22,
  USE_REMOVE_STRAY_LIGHT = 23,
  NUM_FREQS = 24,
  FREQUENCY_1 = 25,  // also selects the first frequency in per-frequency processing
  FREQUENCY_2 = 26,  // also selects the second frequency
  EXPOSURE_LIMIT_LOWER = 27,
  EXPOSURE_LIMIT_UPPER = 28,
  PARAMETER_KEY_COUNT = 29,  // one past the last valid key; not a parameter
};

}  // namespace kelvora
