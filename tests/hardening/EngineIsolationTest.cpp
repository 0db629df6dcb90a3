// Engines are independent: one engine's calls never change another's
// results, and redirected results stay inside the caller's targets.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "calibration/HandlerPsfAndDirections.hpp"
#include "hardening/HardeningSupport.hpp"
#include "synthetic/SceneRenderer.hpp"

namespace kelvora {
namespace {

using hardening::EnginePtr;

struct Frames {
  synth::RenderedFrameSet set;
  Input<ArrayReference, 2> input;
};

// Frame sets for a calibration, rendered as the engine sees it.
std::vector<Frames> render(const synth::SyntheticCalibrationOptions& o, uint32_t count) {
  hardening::RecordPtr c(synth::makeSyntheticCalibration(o));
  const uint32_t n = o.width * o.height;
  kelvora_calcTavelPsfAndDirections(c.get(), n);
  const synth::SceneOptions scene;
  const synth::SceneGeometry g = synth::castScene(c->directions, o.width, o.height, scene);
  std::vector<Frames> frames(count);
  for (uint32_t i = 0; i < count; ++i) {
    frames[i].set = synth::renderFrameSet(*c, g, scene, i);
    synth::RenderedFrameSet& s = frames[i].set;
    Input<ArrayReference, 2>& in = frames[i].input;
    in.temperature = s.temperature;
    in.intensityExposureTime = s.exposureTimes[0];
    in.intensityFrame = ArrayReference<unsigned short>(s.grey.data(), n);
    for (uint32_t f = 0; f < s.frequencyCount; ++f) {
      in.frequencies[f].exposureTime = s.exposureTimes[1 + f];
      for (uint32_t k = 0; k < 4; ++k) {
        in.frequencies[f].phaseFrames[k] = ArrayReference<unsigned short>(s.phase[f][k].data(), n);
      }
    }
  }
  return frames;
}

template <ResultType RT>
std::vector<unsigned char> bytesOf(IKelvora& e) {
  const auto r = e.results<RT>();
  const auto* p = reinterpret_cast<const unsigned char*>(r.data());
  return std::vector<unsigned char>(p, p + r.size() * sizeof(*r.data()));
}

struct Snapshot {
  std::vector<unsigned char> distance, amplitude, noise, intensity, cloud, flags, proposals;
  bool operator==(const Snapshot& o) const {
    return distance == o.distance && amplitude == o.amplitude && noise == o.noise &&
           intensity == o.intensity && cloud == o.cloud && flags == o.flags &&
           proposals == o.proposals;
  }
};

Snapshot snapshot(IKelvora& e) {
  return {bytesOf<DISTANCE>(e),          bytesOf<AMPLITUDE>(e),   bytesOf<NOISE>(e),
          bytesOf<INTENSITY>(e),         bytesOf<POINT_CLOUD>(e), bytesOf<FLAGS>(e),
          bytesOf<EXPOSURE_PROPOSALS>(e)};
}

synth::SyntheticCalibrationOptions otherOptions() {
  synth::SyntheticCalibrationOptions o;
  o.width = 13;
  o.height = 7;
  o.frequencies = {60240000u};
  o.seed = 9;
  return o;
}

TEST(EngineIsolation, InterleavedEnginesGiveTheResultsOfEngineAlone) {
  const synth::SyntheticCalibrationOptions a = hardening::smallOptions();
  const synth::SyntheticCalibrationOptions b = otherOptions();
  std::vector<Frames> framesA = render(a, 3);
  std::vector<Frames> framesB = render(b, 3);

  // Reference: A alone.
  std::vector<Snapshot> alone;
  {
    EnginePtr e = hardening::engineFor(hardening::containerBlob(a));
    ASSERT_NE(e, nullptr);
    for (Frames& f : framesA) {
      e->processWhole(f.input);
      alone.push_back(snapshot(*e));
    }
  }

  EnginePtr engineA = hardening::engineFor(hardening::containerBlob(a));
  EnginePtr engineB = hardening::engineFor(hardening::containerBlob(b));
  ASSERT_NE(engineA, nullptr);
  ASSERT_NE(engineB, nullptr);
  for (size_t i = 0; i < framesA.size(); ++i) {
    engineB->processWhole(framesB[i].input);
    engineA->processIntensity(framesA[i].input);
    engineB->processWhole(framesB[(i + 1) % framesB.size()].input);
    engineA->processModFrames<FREQUENCY_1>(framesA[i].input);
    // Reconfiguring B (a re-initialisation) between A's calls.
    EXPECT_EQ(engineB->reconfigure(engineB->configuration()).code, KelvoraStatus::SUCCESS);
    engineA->processModFrames<FREQUENCY_2>(framesA[i].input);
    engineA->combineResults();
    EXPECT_TRUE(snapshot(*engineA) == alone[i]) << "frame set " << i;
    if (i == 1) engineB.reset();  // A carries on after B is gone
    if (!engineB) engineB = hardening::engineFor(hardening::containerBlob(b));
  }
}

// Each result redirected into an exactly sized window of one larger buffer,
// with canaries on both sides that processing must leave alone.
TEST(EngineIsolation, RedirectedResultsStayInsideTheirTargets) {
  const synth::SyntheticCalibrationOptions a = otherOptions();  // 91 pixels: vector tails
  std::vector<Frames> frames = render(a, 2);
  EnginePtr e = hardening::engineFor(hardening::containerBlob(a));
  ASSERT_NE(e, nullptr);
  const uint32_t n = a.width * a.height;
  constexpr uint32_t kGuard = 16;
  constexpr uint32_t kCanary = 0xC0FFEE11u;
  const uint32_t sizes[6] = {4 * n, n, n, n, n, n};  // in ResultType order
  std::vector<uint32_t> arena;
  std::vector<uint32_t> starts;
  for (uint32_t s : sizes) {
    arena.insert(arena.end(), kGuard, kCanary);
    starts.push_back(static_cast<uint32_t>(arena.size()));
    arena.insert(arena.end(), s, 0u);
  }
  arena.insert(arena.end(), kGuard, kCanary);

  auto floats = [&](int k) {
    return ArrayReference<float>(reinterpret_cast<float*>(arena.data() + starts[k]), sizes[k]);
  };
  Configuration c = e->configuration();
  Configuration::OutputRedirector<AMPLITUDE> amplitude;
  amplitude.setRedirection(floats(AMPLITUDE));
  c.setOutputRedirection(amplitude);
  Configuration::OutputRedirector<POINT_CLOUD> cloud;
  cloud.setRedirection(floats(POINT_CLOUD));
  c.setOutputRedirection(cloud);
  Configuration::OutputRedirector<NOISE> noise;
  noise.setRedirection(floats(NOISE));
  c.setOutputRedirection(noise);
  Configuration::OutputRedirector<FLAGS> flags;
  flags.setRedirection(ArrayReference<unsigned int>(arena.data() + starts[FLAGS], sizes[FLAGS]));
  c.setOutputRedirection(flags);
  Configuration::OutputRedirector<INTENSITY> intensity;
  intensity.setRedirection(floats(INTENSITY));
  c.setOutputRedirection(intensity);
  Configuration::OutputRedirector<DISTANCE> distance;
  distance.setRedirection(floats(DISTANCE));
  c.setOutputRedirection(distance);
  ASSERT_EQ(e->reconfigure(c).code, KelvoraStatus::SUCCESS);

  for (Frames& f : frames) e->processWhole(f.input);
  EXPECT_EQ(e->results<DISTANCE>().data(), floats(DISTANCE).data());
  for (int k = 0; k < 6; ++k) {
    for (uint32_t g = 1; g <= kGuard; ++g) {
      ASSERT_EQ(arena[starts[k] - g], kCanary) << "before result " << k;
    }
  }
  for (uint32_t g = 1; g <= kGuard; ++g) ASSERT_EQ(arena[arena.size() - g], kCanary);
  // Each window was written: the distance of a pixel that sees the wall.
  float d;
  std::memcpy(&d, &arena[starts[DISTANCE] + n / 2], 4);
  EXPECT_GT(d, 1.0f);
}

}  // namespace
}  // namespace kelvora
