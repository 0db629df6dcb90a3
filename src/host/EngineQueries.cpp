// What an engine does with a frame set, read from its configuration and, for
// the point count, from the engine's own output record.
#include <algorithm>
#include <vector>

#include "engine/Kelvora.hpp"
#include "kelvora/HostSupport.hpp"

namespace kelvora {

namespace {

const unsigned int* unsignedValue(const ParameterValue& v) {
  return v.getIf<1>();
}

}  // namespace

std::vector<uint32_t> modulationFrequencies(const IKelvora& engine) {
  const Configuration c = engine.configuration();
  // A calibration of one frequency hides numFreqs and fixes it at 1.
  uint32_t count = 1;
  const Parameter numFreqs = c.getParameterByKey(NUM_FREQS);
  if (numFreqs.isValid()) {
    const ParameterValue v = numFreqs.getValue();
    count = unsignedValue(v) != nullptr ? std::min(*unsignedValue(v), 2u) : 0u;
  }
  std::vector<uint32_t> frequencies;
  for (ParameterKey key : {FREQUENCY_1, FREQUENCY_2}) {
    if (frequencies.size() == count) break;
    const ParameterValue v = c.getParameterByKey(key).getValue();
    if (unsignedValue(v) == nullptr) break;
    frequencies.push_back(*unsignedValue(v));
  }
  return frequencies;
}

bool isPointCloudSparse(const IKelvora& engine) {
  const ParameterValue v =
      engine.configuration().getParameterByKey(USE_SPARSE_POINT_CLOUD).getValue();
  const bool* sparse = v.getIf<2>();
  return sparse != nullptr && *sparse;
}

uint32_t pointCloudPointCount(const IKelvora& engine) {
  const auto* kelvora = dynamic_cast<const Kelvora*>(&engine);
  if (kelvora == nullptr) return 0;
  // The dense stage counts whole groups of four pixels, so its count may run
  // up to three points past the image.
  const uint32_t pixels = kelvora->getWidth() * kelvora->getHeight();
  return std::min(kelvora->pointCloudSize() / 4, pixels);
}

}  // namespace kelvora
