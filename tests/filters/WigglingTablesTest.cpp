// Wiggling tables against a double-precision evaluation of the harmonic sums.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "filters/WigglingTables.hpp"

namespace kelvora {
namespace {

struct Model {
  const char* name;
  std::vector<float> amplitude;
  std::vector<uint32_t> harmonic;
  std::vector<float> phase;
  float offset;
};

double sumInDouble(const Model& m, double x, double start) {
  double s = start;
  for (size_t k = 0; k < m.amplitude.size(); ++k) {
    s += m.amplitude[k] * std::sin(x * m.harmonic[k] + m.phase[k]);
  }
  return s;
}

class WigglingTables : public ::testing::TestWithParam<Model> {};

TEST_P(WigglingTables, MatchDoublePrecisionSums) {
  const Model& m = GetParam();
  const uint32_t count = static_cast<uint32_t>(m.amplitude.size());
  std::vector<float> phaseTable(kWigglingTableSize), ampTable(kWigglingTableSize);
  initCorrectPhaseWiggling_cross(count, m.harmonic.data(), m.phase.data(), m.amplitude.data(),
                                 phaseTable.data());
  initCorrectAmplitudeWiggling_cross(count, m.harmonic.data(), m.phase.data(), m.amplitude.data(),
                                     m.offset, ampTable.data());
  const double step = 2.0 * M_PI / 16383.0;
  double worstPhase = 0, worstAmp = 0;
  for (uint32_t i = 0; i < kWigglingTableSize; ++i) {
    const double x = i * step;
    worstPhase = std::max(worstPhase, std::fabs(phaseTable[i] - sumInDouble(m, x, 0.0)));
    const double amp = 1.0 / sumInDouble(m, x, m.offset);
    worstAmp = std::max(worstAmp, std::fabs(ampTable[i] - amp) / std::fabs(amp));
  }
  // Single-precision angles up to 2*pi*harmonic lose a few ulps of the
  // argument; 2e-6 rad and 2e-6 relative are far below any useful wiggle.
  EXPECT_LT(worstPhase, 2e-6) << m.name;
  EXPECT_LT(worstAmp, 2e-6) << m.name;
  // Entries 0 and 16383 stand for the same phase.
  EXPECT_NEAR(phaseTable[0], phaseTable[16383], 2e-6);
  EXPECT_NEAR(ampTable[0], ampTable[16383], 2e-6 * std::fabs(ampTable[0]));
}

INSTANTIATE_TEST_SUITE_P(
    Models, WigglingTables,
    ::testing::Values(Model{"three", {0.02f, 0.008f, 0.003f}, {1, 2, 4}, {0.3f, 1.1f, -0.7f}, 1.0f},
                      Model{"five",
                            {0.1f, -0.05f, 0.02f, 0.01f, 0.005f},
                            {1, 2, 3, 5, 8},
                            {0.1f, 0.2f, 0.3f, 0.4f, 0.5f},
                            2.5f},
                      Model{"highOrder", {0.01f}, {16}, {2.0f}, 0.9f}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace kelvora
