#include "synthetic/OutputArrays.hpp"

#include <cstddef>

namespace kelvora::synth {

OutputArrays::OutputArrays(uint32_t pixelCount)
    : distance(pixelCount, 0.0f),
      noise(pixelCount, 0.0f),
      amplitude(pixelCount, 0.0f),
      intensity(pixelCount, 0.0f),
      pointCloud(4 * static_cast<std::size_t>(pixelCount), 0.0f),
      flags(pixelCount, 0u) {
  output.distance = distance.data();
  output.noise = noise.data();
  output.amplitude = amplitude.data();
  output.intensity = intensity.data();
  output.pointCloud = pointCloud.data();
  output.flags = flags.data();
}

}  // namespace kelvora::synth
