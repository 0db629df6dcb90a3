#include "support/DemoReport.hpp"

#include <cmath>

#include "support/ColourMap.hpp"

namespace kelvora::tools {

void AccuracyTally::add(const FrameResults& r) {
  const size_t n = static_cast<size_t>(r.width) * r.height;
  for (size_t i = 0; i < n && i < geometry_.label.size(); ++i) {
    const bool valid = r.flags[i] == 0;
    SurfaceCount& s = surfaces_[static_cast<size_t>(geometry_.label[i])];
    ++s.pixels;
    ++overall_.pixels;
    s.valid += valid;
    overall_.valid += valid;
    if (valid && geometry_.trueDistance[i] > 0.0f) {
      errors_.push_back(std::fabs(r.distance[i] - geometry_.trueDistance[i]));
    }
  }
}

float AccuracyTally::errorPercentile(float fraction) const {
  return percentile(errors_, fraction);
}

}  // namespace kelvora::tools
