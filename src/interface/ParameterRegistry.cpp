#include "interface/ParameterRegistry.hpp"

#include <cstdint>
#include <functional>
#include <utility>

#include "base/KelvoraParameter.hpp"
#include "kelvora/ParameterBuilder.hpp"

namespace kelvora {
namespace {

template <class T>
using Setter = std::function<void(KelvoraParameter&, T)>;

// Alternative of T in both the value and the setter variant.
template <class T>
constexpr uint32_t alternativeOf() {
  if constexpr (std::is_same_v<T, float>) return 0;
  if constexpr (std::is_same_v<T, unsigned int>) return 1;
  if constexpr (std::is_same_v<T, bool>) return 2;
  if constexpr (std::is_same_v<T, int>) return 3;
}

// Bounds given as variants, which may be empty (no bounds at all).
template <class T>
Parameter createParameter(ParameterKey key, const char* name, T value, Setter<T> setter,
                          const char* description, const ParameterValue& lower,
                          const ParameterValue& upper) {
  constexpr uint32_t i = alternativeOf<T>();
  ParameterValue defaultValue;
  defaultValue.emplace<i>(value);
  ParameterFunctor functor;
  functor.emplace<i>(std::move(setter));
  return ParameterBuilder()
      .setKey(key)
      .setName(name)
      .setValue(defaultValue)
      .setBounds(lower, upper)
      .setDescription(description)
      .setFunctor(functor)
      .build();
}

template <class T>
Parameter createParameter(ParameterKey key, const char* name, T value, Setter<T> setter,
                          const char* description, T lower, T upper) {
  constexpr uint32_t i = alternativeOf<T>();
  ParameterValue lowerBound;
  lowerBound.emplace<i>(lower);
  ParameterValue upperBound;
  upperBound.emplace<i>(upper);
  return createParameter<T>(key, name, value, std::move(setter), description, lowerBound,
                            upperBound);
}

// Switches: the bounds are always false and true.
Parameter createParameter(ParameterKey key, const char* name, bool value, Setter<bool> setter,
                          const char* description) {
  return createParameter<bool>(key, name, value, std::move(setter), description, false, true);
}

// The one int parameter, built without a factory.
Parameter createAdaptiveNoiseFilterType() {
  ParameterValue value;
  value.emplace<3>(2);
  ParameterValue lower;
  lower.emplace<3>(1);
  ParameterValue upper;
  upper.emplace<3>(2);
  ParameterFunctor functor;
  // 1 selects the 3x3 kernel, 2 the 5x5 kernel; the field is one byte wide.
  functor.emplace<3>(
      [](KelvoraParameter& p, int v) { p.adaptiveNoiseFilterType = static_cast<uint8_t>(v); });
  return ParameterBuilder()
      .setKey(ADAPTIVE_NOISE_FILTER_TYPE)
      .setName("adaptiveNoiseFilterType")
      .setValue(value)
      .setBounds(lower, upper)
      .setDescription("Kernel type of the adaptive noise filter")
      .setFunctor(functor)
      .build();
}

}  // namespace

std::map<ParameterKey, Parameter> getAllParameters() {
  std::map<ParameterKey, Parameter> all;
  all[AMPLITUDE_THRESHOLD] = createParameter<float>(
      AMPLITUDE_THRESHOLD, "amplitudeThreshold", 0.5f,
      [](KelvoraParameter& p, float v) { p.amplitudeThreshold = v; },
      "Upper limit values for amplitude value flags", 0.00015f, 4095.0f);
  all[CONSISTENCY_TOLERANCE] = createParameter<float>(
      CONSISTENCY_TOLERANCE, "consistencyTolerance", 1.2f,
      [](KelvoraParameter& p, float v) { p.consistencyTolerance = v; },
      "Consistency limit for asymmetry validation", 0.2f, 1.5f);
  all[NOISE_THRESHOLD] = createParameter<float>(
      NOISE_THRESHOLD, "noiseThreshold", 0.07f,
      [](KelvoraParameter& p, float v) { p.noiseThreshold = v; },
      "Upper threshold for final distance noise", 0.03f, 0.2f);
  all[ADAPTIVE_NOISE_FILTER_TYPE] = createAdaptiveNoiseFilterType();
  all[EXPOSURE_REFERENCE_AMPLITUDE] = createParameter<float>(
      EXPOSURE_REFERENCE_AMPLITUDE, "exposureReferenceAmplitude", 1200.0f,
      [](KelvoraParameter& p, float v) { p.exposureReferenceAmplitude = v; },
      "Reference amplitude for the auto exposure estimate", 1.0f, 4095.0f);
  all[FLYING_PIXEL_F0] = createParameter<float>(
      FLYING_PIXEL_F0, "flyingPixelF0", 0.018f,
      [](KelvoraParameter& p, float v) { p.flyingPixelF0 = v; },
      "Scaling Factor for lower depth value normalization", 0.01f, 0.04f);
  all[FLYING_PIXEL_F1] = createParameter<float>(
      FLYING_PIXEL_F1, "flyingPixelF1", 0.14f,
      [](KelvoraParameter& p, float v) { p.flyingPixelF1 = v; },
      "Scaling Factor for upper depth value normalization", 0.1f, 1.0f);
  all[FLYING_PIXEL_FAR_DIST] = createParameter<float>(
      FLYING_PIXEL_FAR_DIST, "flyingPixelFarDist", 4.5f,
      [](KelvoraParameter& p, float v) { p.flyingPixelFarDist = v; },
      "Upper Normalized threshold value for flying pixel detection", 2.0f, 14.0f);
  all[FLYING_PIXEL_NEAR_DIST] = createParameter<float>(
      FLYING_PIXEL_NEAR_DIST, "flyingPixelNearDist", 1.0f,
      [](KelvoraParameter& p, float v) { p.flyingPixelNearDist = v; },
      "Lower Normalized threshold value for flying pixel detection", 0.0f, 2.0f);
  all[MPI_AMPLITUDE_THRESHOLD] = createParameter<float>(
      MPI_AMPLITUDE_THRESHOLD, "mpiAmplitudeThreshold", 0.3f,
      [](KelvoraParameter& p, float v) { p.mpiAmplitudeThreshold = v; },
      "Threshold for MPI flags triggered by amplitude discrepancy", 0.1f, 0.5f);
  all[MPI_DISTANCE_THRESHOLD] = createParameter<float>(
      MPI_DISTANCE_THRESHOLD, "mpiDistanceThreshold", 0.1f,
      [](KelvoraParameter& p, float v) { p.mpiDistanceThreshold = v; },
      "Threshold for MPI flags triggered by distance discrepancy", 0.05f, 0.2f);
  all[MPI_NOISE_DISTANCE] = createParameter<float>(
      MPI_NOISE_DISTANCE, "mpiNoiseDistance", 3.0f,
      [](KelvoraParameter& p, float v) { p.mpiNoiseDistance = v; },
      "Threshold for MPI flags triggered by noise", 2.0f, 5.0f);
  // Raw samples are 12-bit; the fields are 16 bits wide.
  all[SATURATION_THRESHOLD_LOWER] = createParameter<unsigned int>(
      SATURATION_THRESHOLD_LOWER, "saturationThresholdLower", 400u,
      [](KelvoraParameter& p, unsigned int v) {
        p.saturationThresholdLower = static_cast<uint16_t>(v);
      },
      "Lower limit for valid raw data values", 0u, 600u);
  all[SATURATION_THRESHOLD_UPPER] = createParameter<unsigned int>(
      SATURATION_THRESHOLD_UPPER, "saturationThresholdUpper", 3750u,
      [](KelvoraParameter& p, unsigned int v) {
        p.saturationThresholdUpper = static_cast<uint16_t>(v);
      },
      "Upper limit for valid raw data values", 3500u, 4095u);
  all[USE_ADAPTIVE_NOISE_FILTER] = createParameter(
      USE_ADAPTIVE_NOISE_FILTER, "useAdaptiveNoiseFilter", true,
      [](KelvoraParameter& p, bool v) { p.useAdaptiveNoiseFilter = v; },
      "Activate spatial filter reducing the distance noise");
  all[USE_AUTO_EXPOSURE] = createParameter(
      USE_AUTO_EXPOSURE, "useAutoExposure", true,
      [](KelvoraParameter& p, bool v) { p.useAutoExposure = v; },
      "Activate dynamic control of the exposure time");
  all[USE_REMOVE_FLYING_PIXEL] = createParameter(
      USE_REMOVE_FLYING_PIXEL, "useRemoveFlyingPixel", true,
      [](KelvoraParameter& p, bool v) { p.useRemoveFlyingPixel = v; }, "Activate FlyingPixel flag");
  all[USE_MPI_FLAG_AVERAGE] = createParameter(
      USE_MPI_FLAG_AVERAGE, "useMPIFlagAverage", true,
      [](KelvoraParameter& p, bool v) { p.useMPIFlagAverage = v; },
      "Activate spatial averaging MPI value before thresholding");
  all[USE_MPI_FLAG_AMPLITUDE] = createParameter(
      USE_MPI_FLAG_AMPLITUDE, "useMPIFlagAmplitude", true,
      [](KelvoraParameter& p, bool v) { p.useMPIFlagAmplitude = v; },
      "Activates MPI-amplitude flag");
  all[USE_MPI_FLAG_DISTANCE] = createParameter(
      USE_MPI_FLAG_DISTANCE, "useMPIFlagDistance", true,
      [](KelvoraParameter& p, bool v) { p.useMPIFlagDistance = v; }, "Activates MPI-distance flag");
  all[USE_VALIDATE_IMAGE] = createParameter(
      USE_VALIDATE_IMAGE, "useValidateImage", true,
      [](KelvoraParameter& p, bool v) { p.useValidateImage = v; },
      "Activates output image validation");
  all[USE_SPARSE_POINT_CLOUD] = createParameter(
      USE_SPARSE_POINT_CLOUD, "useSparsePointCloud", false,
      [](KelvoraParameter& p, bool v) { p.useSparsePointCloud = v; },
      "Activates the output of sparse point cloud");
  all[USE_REMOVE_STRAY_LIGHT] = createParameter(
      USE_REMOVE_STRAY_LIGHT, "useRemoveStrayLight", true,
      [](KelvoraParameter& p, bool v) { p.useRemoveStrayLight = v; },
      "Activates the stray light correction");
  all[NUM_FREQS] = createParameter<unsigned int>(
      NUM_FREQS, "numFreqs", 2u,
      [](KelvoraParameter& p, unsigned int v) { p.numFreqs = static_cast<uint8_t>(v); },
      "Number of modulated measurements used", 0u, 2u);
  // Frequencies (Hz) and exposure limits are unbounded: any unsigned value is
  // accepted, and the exposure limits' defaults are deliberately tiny.
  all[FREQUENCY_1] = createParameter<unsigned int>(
      FREQUENCY_1, "freq1", 80320000u, [](KelvoraParameter& p, unsigned int v) { p.freq1 = v; },
      "First frequency value", ParameterValue(), ParameterValue());
  all[FREQUENCY_2] = createParameter<unsigned int>(
      FREQUENCY_2, "freq2", 60240000u, [](KelvoraParameter& p, unsigned int v) { p.freq2 = v; },
      "Second frequency value", ParameterValue(), ParameterValue());
  all[EXPOSURE_LIMIT_LOWER] = createParameter<unsigned int>(
      EXPOSURE_LIMIT_LOWER, "exposureLimitLower", 1u,
      [](KelvoraParameter& p, unsigned int v) { p.exposureLimitLower = v; },
      "Lowest exposure value which will be proposed by the auto exposure algorithm",
      ParameterValue(), ParameterValue());
  all[EXPOSURE_LIMIT_UPPER] = createParameter<unsigned int>(
      EXPOSURE_LIMIT_UPPER, "exposureLimitUpper", 2u,
      [](KelvoraParameter& p, unsigned int v) { p.exposureLimitUpper = v; },
      "Highest exposure value which will be proposed by the auto exposure algorithm",
      ParameterValue(), ParameterValue());
  return all;
}

}  // namespace kelvora
