// The engine through its public interface: creation and hidden parameters,
// reconfiguration with and without re-initialisation, refusals that leave
// the engine exactly as it was, results and calibration fields. (Engines of legacy calibrations run
// in the tool's end-to-end table, frames an engine does not read in the bad-frame table,
// redirections in the isolation tests; LeakSanitizer watches the lifetime.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "base/StatusCodes.hpp"
#include "common/CoreFixtures.hpp"
#include "common/EngineHarness.hpp"
#include "engine/Kelvora.hpp"
#include "interface/ParameterRegistry.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {
namespace {

using testing::EnginePtr;
using testing::makeEngine;
using testing::smallCalibration;
constexpr uint32_t kF80 = 80320000, kF60 = 60240000;

Kelvora& asKelvora(IKelvora& e) {
  return static_cast<Kelvora&>(e);
}

Configuration with(Configuration c, ParameterKey key, const ParameterValue& value) {
  Parameter p = c.getParameterByKey(key);
  EXPECT_TRUE(p.setValue(value)) << key;
  c.setParameter(p);
  return c;
}

template <ResultType RT, class T>
Configuration redirected(Configuration c, T* target, uint32_t size) {
  OutputRedirector<RT> r;
  r.setRedirection(ArrayReference<T>(target, size));
  c.setOutputRedirection(r);
  return c;
}

// Every parameter and whether each result is redirected, as text.
std::string describe(const Configuration& c) {
  std::ostringstream s;
  for (const Parameter& p : c.getParameters()) s << p << "\n";
  s << c.getOutputRedirection<POINT_CLOUD>() << c.getOutputRedirection<AMPLITUDE>()
    << c.getOutputRedirection<FLAGS>() << c.getOutputRedirection<NOISE>()
    << c.getOutputRedirection<INTENSITY>() << c.getOutputRedirection<DISTANCE>();
  return s.str();
}

// Whether the core holds the registry's default of every parameter but the
// decided ones, field by field: a setter writes its field alone, so applying
// the default to a byte copy changes nothing exactly when the field holds it.
// (The padding between fields is no field; the engine leaves it as it was.)
void expectRegistryDefaultsBut(const KelvoraParameter& core, std::set<ParameterKey> decided) {
  for (const auto& [key, parameter] : getAllParameters()) {
    if (decided.count(key) != 0) continue;
    KelvoraParameter applied;
    std::memcpy(&applied, &core, sizeof applied);
    ASSERT_TRUE(parameter.impl()->apply(applied)) << parameter.name();
    EXPECT_EQ(std::memcmp(&applied, &core, sizeof applied), 0) << parameter.name();
  }
}

// What the calibration decides is set in the core and hidden from the
// configuration; everything else is the registry's default.
TEST(EngineCreation, ConfigurationIsFittedToTheCalibration) {
  EnginePtr two = makeEngine(testing::containerBlobFor(smallCalibration()));
  EnginePtr one = makeEngine(testing::containerBlobFor(smallCalibration({kF60})));
  ASSERT_TRUE(two && one);
  // No point-spread function in this format; one frequency has no multipath
  // measures.
  const KelvoraParameter& a = asKelvora(*two).coreParameters();
  expectRegistryDefaultsBut(a, {USE_REMOVE_STRAY_LIGHT});
  EXPECT_EQ((std::vector<uint32_t>{a.reserved, a.width, a.height, a.useRemoveStrayLight}),
            (std::vector<uint32_t>{0, 40, 30, false}));
  const KelvoraParameter& b = asKelvora(*one).coreParameters();
  expectRegistryDefaultsBut(b,
                            {NUM_FREQS, FREQUENCY_1, USE_MPI_FLAG_AVERAGE, USE_MPI_FLAG_AMPLITUDE,
                             USE_MPI_FLAG_DISTANCE, USE_REMOVE_STRAY_LIGHT});
  EXPECT_EQ((std::vector<uint32_t>{b.numFreqs, b.freq1, b.useMPIFlagAverage, b.useMPIFlagAmplitude,
                                   b.useMPIFlagDistance, b.useRemoveStrayLight}),
            (std::vector<uint32_t>{1, kF60, false, false, false, false}));

  EXPECT_EQ(two->configuration().getParameters().size(), 27u);
  EXPECT_EQ(one->configuration().getParameters().size(), 23u);
  for (ParameterKey k : {NUM_FREQS, USE_MPI_FLAG_AVERAGE, USE_MPI_FLAG_AMPLITUDE,
                         USE_MPI_FLAG_DISTANCE, USE_REMOVE_STRAY_LIGHT}) {
    EXPECT_FALSE(one->configuration().getParameterByKey(k).isValid()) << k;
  }
  EXPECT_EQ(*two->configuration().getParameterByKey(FREQUENCY_2).getValue().getIf<1>(), kF60);
  EXPECT_EQ(*one->configuration().getParameterByKey(FREQUENCY_1).getValue().getIf<1>(), kF60);
  EXPECT_STREQ(getVersion(), "3.0.0.0");
  EXPECT_STREQ(kelvora_getGitDescription(), "no-git-description-available");
  EXPECT_STREQ(getVersion() - std::strlen("kelvoraVersion="), "kelvoraVersion=3.0.0.0");
}

TEST(EngineReconfigure, OnlyAFrequencyChangeRebuildsTheScratch) {
  constexpr uint32_t kF20 = 20000000;
  EnginePtr e = makeEngine(testing::containerBlobFor(smallCalibration({kF80, kF60, kF20})));
  ASSERT_NE(e, nullptr);
  const KelvoraIntermediate* before = asKelvora(*e).intermediate();
  EXPECT_EQ(e->reconfigure(e->configuration()).code, KelvoraStatus::SUCCESS);
  Configuration c = with(e->configuration(), NOISE_THRESHOLD, ParameterValue(0.1f));
  ASSERT_EQ(e->reconfigure(c).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(asKelvora(*e).intermediate(), before);
  EXPECT_EQ(asKelvora(*e).coreParameters().noiseThreshold, 0.1f);
  EXPECT_EQ(describe(e->configuration()), describe(c));

  // Each frequency alone re-initialises, which moves its calibration to its
  // slot.
  for (const auto& [key, frequency, slot] :
       {std::tuple{FREQUENCY_2, kF20, 1}, std::tuple{FREQUENCY_1, kF60, 0}}) {
    c = with(c, key, ParameterValue(frequency));
    ASSERT_EQ(e->reconfigure(c).code, KelvoraStatus::SUCCESS) << frequency;
    EXPECT_EQ(asKelvora(*e).calibration()->frequencies[slot].modulationFrequency, frequency);
  }
  EXPECT_EQ(asKelvora(*e).coreParameters().freq1, kF60);
  EXPECT_EQ(asKelvora(*e).coreParameters().freq2, kF20);
}

// A refused reconfiguration leaves the configuration and every result as
// they were, and the engine then gives, bit for bit, the results of an
// engine that was never asked. Each request also changes a parameter that
// changes the results, and redirects the amplitude, the first result bound,
// into a valid array of the caller's before the refusal comes.
TEST(EngineReconfigure, RefusedRequestsLeaveTheEngineAsIfNeverAsked) {
  const struct {
    const char* name;
    std::vector<uint32_t> calibrated;
    ParameterKey key;
    ParameterValue value;
    uint32_t freq1, freq2;  // 0: left as configured
    bool shortTarget;       // the distance, bound last, one element short
  } refusals[] = {
      {"threshold and a short target",
       {kF80, kF60},
       NOISE_THRESHOLD,
       ParameterValue(0.03f),
       0,
       0,
       true},
      {"switch, swapped frequencies and a short target",
       {kF80, kF60},
       USE_ADAPTIVE_NOISE_FILTER,
       ParameterValue(false),
       kF60,
       kF80,
       true},
      // The first frequency is found and moved before the second is missed.
      {"first frequency found, second missing",
       {kF80, kF60},
       USE_ADAPTIVE_NOISE_FILTER,
       ParameterValue(false),
       kF60,
       12345,
       false},
      {"frequency missing", {kF60}, NOISE_THRESHOLD, ParameterValue(0.03f), 12345, 0, false}};
  for (const auto& r : refusals) {
    SCOPED_TRACE(r.name);
    const synth::SyntheticCalibrationOptions o = smallCalibration(r.calibrated);
    const uint32_t n = o.width * o.height;
    const std::vector<uint8_t> blob = testing::containerBlobFor(o);
    EnginePtr asked = makeEngine(blob), reference = makeEngine(blob), changed = makeEngine(blob);
    ASSERT_TRUE(asked && reference && changed);
    testing::SceneForEngine scene(o);
    synth::RenderedFrameSet first = scene.render(0), second = scene.render(1);
    for (IKelvora* e : {asked.get(), reference.get()}) e->processWhole(testing::inputFor(first));
    const std::vector<unsigned char> before = testing::resultBytes(*asked);
    const std::string configured = describe(asked->configuration());

    Configuration c = with(asked->configuration(), r.key, r.value);
    ASSERT_EQ(changed->reconfigure(c).code, KelvoraStatus::SUCCESS);
    if (r.freq1 != 0) c = with(c, FREQUENCY_1, ParameterValue(r.freq1));
    if (r.freq2 != 0) c = with(c, FREQUENCY_2, ParameterValue(r.freq2));
    std::vector<float> amplitude(n), distance(n - 1);
    c = redirected<AMPLITUDE>(c, amplitude.data(), n);
    if (r.shortTarget) c = redirected<DISTANCE>(c, distance.data(), n - 1);
    const KelvoraStatus s = asked->reconfigure(c);
    EXPECT_EQ(s.code, r.shortTarget ? KelvoraStatus::OUTPUT_TARGET_TOO_SMALL
                                    : KelvoraStatus::INITIALIZATION_FAILED);
    EXPECT_EQ(s.detail, r.shortTarget ? 0u : uint32_t(status::kInitFrequencyNotCalibrated));
    EXPECT_EQ(describe(asked->configuration()), configured);
    EXPECT_TRUE(testing::resultBytes(*asked) == before);

    for (IKelvora* e : {asked.get(), reference.get(), changed.get()}) {
      e->processWhole(testing::inputFor(second));
    }
    EXPECT_TRUE(testing::resultBytes(*asked) == testing::resultBytes(*reference));
    // The parameter change alone would have shown.
    EXPECT_FALSE(testing::resultBytes(*changed) == testing::resultBytes(*reference));
  }
}

TEST(EngineResults, OwnBuffersAreCopiedProposalsNever) {
  const synth::SyntheticCalibrationOptions o = smallCalibration();
  EnginePtr e = makeEngine(testing::containerBlobFor(o));
  ASSERT_NE(e, nullptr);
  synth::RenderedFrameSet frames = testing::SceneForEngine(o).render();
  e->processWhole(testing::inputFor(frames));
  const IKelvora& constEngine = *e;
  const ImmutableField<float> copy = constEngine.results<DISTANCE>();
  const ArrayReference<float> live = e->results<DISTANCE>();
  ASSERT_EQ(copy.size(), 1200u);
  EXPECT_NE(copy.data(), live.data());
  const std::vector<float> snapshot(copy.begin(), copy.end());
  EXPECT_TRUE(std::equal(snapshot.begin(), snapshot.end(), live.data()));

  synth::SceneOptions nearer;
  nearer.wallDistance = 2.5f;
  synth::RenderedFrameSet frames2 = testing::SceneForEngine(o, nearer).render(1);
  e->processWhole(testing::inputFor(frames2));
  EXPECT_TRUE(std::equal(snapshot.begin(), snapshot.end(), copy.begin()));
  EXPECT_FALSE(std::equal(snapshot.begin(), snapshot.end(), live.data()));
  const ArrayReference<unsigned int> proposals = e->results<EXPOSURE_PROPOSALS>();
  EXPECT_EQ(proposals.size(), 3u);
  EXPECT_EQ(constEngine.results<EXPOSURE_PROPOSALS>().data(), proposals.data());
}

TEST(EngineResults, CalibrationFieldsAndTheirCodes) {
  EnginePtr e = makeEngine(testing::containerBlobFor(smallCalibration()));
  ASSERT_NE(e, nullptr);
  ArrayHolder<char> serial;
  ASSERT_EQ(e->copyCalibrationField<SERIAL>(serial).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(std::string(serial.data(), serial.size()), std::string("KV0000001", 10));
  const testing::CalibrationPtr c(synth::makeSyntheticCalibration(smallCalibration()));
  ArrayHolder<float> lens;
  ASSERT_EQ(e->copyCalibrationField<LENS_PARAMETERS>(lens).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(std::vector<float>(lens.begin(), lens.end()),
            std::vector<float>(c->lensParameters, c->lensParameters + 9));
  ArrayHolder<unsigned int> roi;
  ASSERT_EQ(e->copyCalibrationField<CALIBRATION_ROI>(roi).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(std::vector<unsigned int>(roi.begin(), roi.end()),
            (std::vector<unsigned int>{0, 0, 40, 30}));
  ArrayHolder<unsigned short> aux(3);
  const KelvoraStatus s = e->copyCalibrationField<AUX_VALUES>(aux);
  EXPECT_EQ(s.code, KelvoraStatus::CALIBRATION_ERROR);
  EXPECT_EQ(s.detail, status::kEmpty);
  EXPECT_EQ(aux.size(), 3u) << "the holder stays as it was";
  // The element type is not matched: field 3 into a byte holder.
  ArrayHolder<char> roiBytes;
  EXPECT_EQ(e->copyCalibrationFieldImpl(CALIBRATION_ROI, roiBytes, 0).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(roiBytes.size(), 16u);
}

}  // namespace
}  // namespace kelvora
