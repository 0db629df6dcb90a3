#pragma once
/// \file
/// \brief Identity of every processing parameter.
#include <cstdint>

namespace kelvora {

/// \brief Identity of every processing parameter.
///
/// The numeric values are fixed: they are the registry's order, and the
/// search in a Configuration uses a key as its first guess for the position.
/// Each entry gives the parameter's name (Parameter::name()), type, default
/// and bounds (inclusive; "unbounded" means any value of the type). A value
/// outside the bounds is refused by Parameter::setValue(). The engine hides
/// the parameters its calibration fixes: with a one-frequency calibration
/// NUM_FREQS, USE_MPI_FLAG_AVERAGE, USE_MPI_FLAG_AMPLITUDE and
/// USE_MPI_FLAG_DISTANCE; without a stray-light model USE_REMOVE_STRAY_LIGHT.
enum ParameterKey : uint32_t {
  /// Not a parameter: the key of a default-constructed, invalid Parameter.
  INVALID_PARAMETER_KEY = 0,
  /// amplitudeThreshold, float, 0.5 in [0.00015, 4095]: pixels whose
  /// amplitude (raw units) is below it get flag 0x09.
  AMPLITUDE_THRESHOLD = 1,
  /// consistencyTolerance, float, 1.2 in [0.2, 1.5]: a pixel whose phase
  /// frames' asymmetry exceeds 2 x this x amplitude gets flag 0x05.
  CONSISTENCY_TOLERANCE = 2,
  /// noiseThreshold, float, 0.07 in [0.03, 0.2]: distance noise (metres)
  /// above which a pixel gets flag 0x09; also scales the point cloud's
  /// confidence.
  NOISE_THRESHOLD = 3,
  /// adaptiveNoiseFilterType, int, 2 in [1, 2]: kernel of the adaptive
  /// noise filter.
  ADAPTIVE_NOISE_FILTER_TYPE = 4,
  /// exposureReferenceAmplitude, float, 1200 in [1, 4095]: amplitude (raw
  /// units) the auto exposure aims at.
  EXPOSURE_REFERENCE_AMPLITUDE = 5,
  /// flyingPixelF0, float, 0.018 in [0.01, 0.04]: flying-pixel limit (metres)
  /// at and below flyingPixelNearDist.
  FLYING_PIXEL_F0 = 6,
  /// flyingPixelF1, float, 0.14 in [0.1, 1]: flying-pixel limit (metres) at
  /// and above flyingPixelFarDist.
  FLYING_PIXEL_F1 = 7,
  /// flyingPixelFarDist, float, 4.5 in [2, 14]: upper distance (metres) of
  /// the flying-pixel limit's ramp.
  FLYING_PIXEL_FAR_DIST = 8,
  /// flyingPixelNearDist, float, 1 in [0, 2]: lower distance (metres) of the
  /// flying-pixel limit's ramp.
  FLYING_PIXEL_NEAR_DIST = 9,
  /// mpiAmplitudeThreshold, float, 0.3 in [0.1, 0.5]: floor of the
  /// multipath test by amplitude (flag 0x81).
  MPI_AMPLITUDE_THRESHOLD = 10,
  /// mpiDistanceThreshold, float, 0.1 in [0.05, 0.2]: floor (metres) of the
  /// multipath test by distance (flag 0x41).
  MPI_DISTANCE_THRESHOLD = 11,
  /// mpiNoiseDistance, float, 3 in [2, 5]: factor on the noise in both
  /// multipath tests.
  MPI_NOISE_DISTANCE = 12,
  /// saturationThresholdLower, unsigned int, 400 in [0, 600]: smallest valid
  /// raw sample; a pixel with a smaller one gets flag 0x03.
  SATURATION_THRESHOLD_LOWER = 13,
  /// saturationThresholdUpper, unsigned int, 3750 in [3500, 4095]: largest
  /// valid raw sample; a pixel with a larger one gets flag 0x03.
  SATURATION_THRESHOLD_UPPER = 14,
  /// useAdaptiveNoiseFilter, bool, true: edge-preserving smoothing of the
  /// distance.
  USE_ADAPTIVE_NOISE_FILTER = 15,
  /// useAutoExposure, bool, true: compute EXPOSURE_PROPOSALS.
  USE_AUTO_EXPOSURE = 16,
  /// useRemoveFlyingPixel, bool, true: the flying-pixel test (flag 0x11).
  USE_REMOVE_FLYING_PIXEL = 17,
  /// useMPIFlagAverage, bool, true: median-filter the multipath measures
  /// before thresholding.
  USE_MPI_FLAG_AVERAGE = 18,
  /// useMPIFlagAmplitude, bool, true: the multipath test by amplitude (two
  /// frequencies only).
  USE_MPI_FLAG_AMPLITUDE = 19,
  /// useMPIFlagDistance, bool, true: the multipath test by distance (two
  /// frequencies only).
  USE_MPI_FLAG_DISTANCE = 20,
  /// useValidateImage, bool, true: every flagged pixel gets distance 0,
  /// noise 0, point x, y, z 0 (dense cloud) and the flag word 1, which hides
  /// the cause bits.
  USE_VALIDATE_IMAGE = 21,
  /// useSparsePointCloud, bool, false: the point cloud holds only the valid
  /// pixels' points, packed (see POINT_CLOUD).
  USE_SPARSE_POINT_CLOUD = 22,
  /// useRemoveStrayLight, bool, true: stray-light correction, when the
  /// calibration carries a stray-light model.
  USE_REMOVE_STRAY_LIGHT = 23,
  /// numFreqs, unsigned int, 2 in [0, 2]: number of modulation frequencies
  /// processed; changing it rebuilds the processing buffers.
  NUM_FREQS = 24,
  /// freq1, unsigned int (hertz), the calibration's first frequency,
  /// unbounded; it must be one the calibration holds, else the
  /// reconfiguration fails with KelvoraStatus::INITIALIZATION_FAILED. Also
  /// selects the first frequency in IKelvora::processModFrames().
  FREQUENCY_1 = 25,
  /// freq2, unsigned int (hertz), the calibration's second frequency,
  /// unbounded; like FREQUENCY_1. Also selects the second frequency in
  /// IKelvora::processModFrames().
  FREQUENCY_2 = 26,
  /// exposureLimitLower, unsigned int, 1, unbounded: lowest exposure the
  /// auto exposure proposes.
  EXPOSURE_LIMIT_LOWER = 27,
  /// exposureLimitUpper, unsigned int, 2, unbounded: highest exposure the
  /// auto exposure proposes; set both limits to the sensor's range.
  EXPOSURE_LIMIT_UPPER = 28,
  /// One past the last valid key; not a parameter.
  PARAMETER_KEY_COUNT = 29,
};

}  // namespace kelvora
