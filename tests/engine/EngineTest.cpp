// The engine through its public interface: creation and hidden parameters,
// reconfiguration with and without re-initialisation, redirections, results,
// calibration fields and the engine's lifetime.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "base/StatusCodes.hpp"
#include "calibration/CalibrationExport.hpp"
#include "common/EngineHarness.hpp"
#include "engine/Kelvora.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"

namespace kelvora {
namespace {

using testing::EnginePtr;
using testing::makeEngine;
using testing::smallCalibration;

bool lists(const Configuration& c, ParameterKey key) {
  return c.getParameterByKey(key).isValid();
}

uint32_t unsignedValue(const Configuration& c, ParameterKey key) {
  return *c.getParameterByKey(key).getValue().getIf<1>();
}

Kelvora& asKelvora(IKelvora& e) {
  return static_cast<Kelvora&>(e);
}

TEST(EngineCreation, TwoFrequencyCalibrationListsItsFrequencies) {
  EnginePtr e = makeEngine(testing::containerBlobFor(smallCalibration()));
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getWidth(), 40u);
  EXPECT_EQ(e->getHeight(), 30u);
  const Configuration c = e->configuration();
  EXPECT_EQ(unsignedValue(c, NUM_FREQS), 2u);
  EXPECT_EQ(unsignedValue(c, FREQUENCY_1), 80320000u);
  EXPECT_EQ(unsignedValue(c, FREQUENCY_2), 60240000u);
  for (ParameterKey k : {USE_MPI_FLAG_AVERAGE, USE_MPI_FLAG_AMPLITUDE, USE_MPI_FLAG_DISTANCE}) {
    EXPECT_TRUE(lists(c, k)) << k;
  }
  EXPECT_FALSE(lists(c, USE_REMOVE_STRAY_LIGHT)) << "no point-spread function in this format";
  EXPECT_EQ(c.getParameters().size(), 27u);
  const KelvoraParameter& p = asKelvora(*e).coreParameters();
  EXPECT_EQ(p.numFreqs, 2);
  EXPECT_FALSE(p.useRemoveStrayLight);
  EXPECT_EQ(e->persistentInitialization().size(), 0u);
  EXPECT_FALSE(e->hasPersistentDataChanged());
}

// Setting a hidden key is one of the bad-input table's rows.
TEST(EngineCreation, OneFrequencyCalibrationHidesWhatItDecides) {
  EnginePtr e = makeEngine(testing::containerBlobFor(smallCalibration({60240000})));
  ASSERT_NE(e, nullptr);
  const Configuration c = e->configuration();
  for (ParameterKey k : {NUM_FREQS, USE_MPI_FLAG_AVERAGE, USE_MPI_FLAG_AMPLITUDE,
                         USE_MPI_FLAG_DISTANCE, USE_REMOVE_STRAY_LIGHT}) {
    EXPECT_FALSE(lists(c, k)) << k;
  }
  EXPECT_EQ(unsignedValue(c, FREQUENCY_1), 60240000u);
  const KelvoraParameter& p = asKelvora(*e).coreParameters();
  EXPECT_EQ(p.numFreqs, 1);
  EXPECT_EQ(p.freq1, 60240000u);
  EXPECT_FALSE(p.useMPIFlagAmplitude);
}

TEST(EngineCreation, Versions) {
  EXPECT_STREQ(getVersion(), "3.0.0.0");
  EXPECT_STREQ(kelvora_getVersion(), "3.0.0.0");
  EXPECT_STREQ(getGitDescription(), "no-git-description-available");
  EXPECT_STREQ(kelvora_getGitDescription(), "no-git-description-available");
  EXPECT_STREQ(getVersion() - std::strlen("kelvoraVersion="), "kelvoraVersion=3.0.0.0");
}

TEST(EngineEndToEnd, LegacyCalibrationMakesAWorkingEngine) {
  const std::string dir =
      (std::filesystem::temp_directory_path() / "kelvora-engine-legacy").string();
  calibrationSaveDir = dir.c_str();
  const synth::SyntheticCalibrationOptions o;
  KelvoraCalibration* c = synth::makeSyntheticCalibration(o);
  synth::LegacyWriterOptions w;
  for (auto& f : w.frequency) {
    f.minimum = -0.05f;
    f.maximum = 0.05f;
  }
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*c, w);
  kelvora_freeCalibration(c);
  EnginePtr e = makeEngine(blob);
  calibrationSaveDir = nullptr;
  std::filesystem::remove_all(dir);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getWidth(), 224u);
  EXPECT_EQ(e->getHeight(), 172u);
  testing::SceneForEngine scene(o);
  synth::RenderedFrameSet frames = scene.render();
  EXPECT_EQ(e->processWhole(testing::inputFor(frames)).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(e->results<EXPOSURE_PROPOSALS>().size(), 3u);
}

class EngineReconfigure : public ::testing::Test {
 protected:
  void SetUp() override {
    engine = makeEngine(testing::containerBlobFor(smallCalibration()));
    ASSERT_NE(engine, nullptr);
  }
  const KelvoraIntermediate* scratch() { return asKelvora(*engine).intermediate(); }
  static Configuration withValue(Configuration c, ParameterKey key, const ParameterValue& v) {
    Parameter p = c.getParameterByKey(key);
    EXPECT_TRUE(p.setValue(v)) << key;
    c.setParameter(p);
    return c;
  }
  EnginePtr engine;
  static constexpr uint32_t n = 40 * 30;
};

TEST_F(EngineReconfigure, ThresholdKeepsScratchFrequencyRebuildsIt) {
  const KelvoraIntermediate* before = scratch();
  EXPECT_EQ(engine->reconfigure(engine->configuration()).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(scratch(), before);
  Configuration c = withValue(engine->configuration(), NOISE_THRESHOLD, ParameterValue(0.1f));
  ASSERT_EQ(engine->reconfigure(c).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(scratch(), before);
  EXPECT_EQ(asKelvora(*engine).coreParameters().noiseThreshold, 0.1f);
  EXPECT_EQ(*engine->configuration().getParameterByKey(NOISE_THRESHOLD).getValue().getIf<0>(),
            0.1f);

  // Swapping the two calibrated frequencies re-initialises.
  c = withValue(c, FREQUENCY_1, ParameterValue(60240000u));
  c = withValue(c, FREQUENCY_2, ParameterValue(80320000u));
  ASSERT_EQ(engine->reconfigure(c).code, KelvoraStatus::SUCCESS);
  EXPECT_NE(scratch(), nullptr);
  EXPECT_EQ(asKelvora(*engine).coreParameters().freq1, 60240000u);
  EXPECT_EQ(asKelvora(*engine).calibration()->frequencies[0].modulationFrequency, 60240000u);
}

// A refused reconfiguration leaves every result as it was, and the engine
// then gives, bit for bit, the results of an engine that was never asked.
TEST(EngineReconfigureRefused, ResultsAreThoseOfAnEngineNeverAsked) {
  constexpr uint32_t kF80 = 80320000, kF60 = 60240000;
  struct Refusal {
    const char* name;
    std::vector<uint32_t> calibrated;
    uint32_t freq1, freq2;    // 0: left as configured
    bool pointCloudOneShort;  // refused for the target, else for the missing frequency
  };
  // The first row's first frequency is found and moved before the second is missed.
  const Refusal refusals[] = {{"firstFoundSecondMissing", {kF80, kF60}, kF60, 12345, false},
                              {"firstMissing", {kF80, kF60}, 12345, 0, false},
                              {"oneFrequencyMissing", {kF60}, 12345, 0, false},
                              {"swapWithShortTarget", {kF80, kF60}, kF60, kF80, true}};
  for (const Refusal& r : refusals) {
    SCOPED_TRACE(r.name);
    const synth::SyntheticCalibrationOptions o = smallCalibration(r.calibrated);
    const uint32_t pixels = o.width * o.height;
    const std::vector<uint8_t> blob = testing::containerBlobFor(o);
    EnginePtr asked = makeEngine(blob), reference = makeEngine(blob);
    ASSERT_TRUE(asked && reference);
    testing::SceneForEngine scene(o);
    synth::RenderedFrameSet first = scene.render(0), second = scene.render(1);
    asked->processWhole(testing::inputFor(first));
    reference->processWhole(testing::inputFor(first));
    const std::vector<unsigned char> before = testing::resultBytes(*asked);

    Configuration c = asked->configuration();
    // A switch that changes every distance, to show the parameters rolled back.
    Parameter filter = c.getParameterByKey(USE_ADAPTIVE_NOISE_FILTER);
    ASSERT_TRUE(filter.setValue(ParameterValue(false)));  // on by default
    c.setParameter(filter);
    for (auto [key, value] : {std::pair{FREQUENCY_1, r.freq1}, std::pair{FREQUENCY_2, r.freq2}}) {
      if (value == 0) continue;
      Parameter p = c.getParameterByKey(key);
      ASSERT_TRUE(p.setValue(ParameterValue(value)));
      c.setParameter(p);
    }
    // A valid redirection, applied before the refusal: the engine's own
    // amplitude buffer must come back with its contents.
    std::vector<float> amplitude(pixels), shortCloud(4 * pixels - 1);
    Configuration::OutputRedirector<AMPLITUDE> ra;
    ra.setRedirection(ArrayReference<float>(amplitude.data(), pixels));
    c.setOutputRedirection(ra);
    if (r.pointCloudOneShort) {
      Configuration::OutputRedirector<POINT_CLOUD> rc;
      rc.setRedirection(ArrayReference<float>(shortCloud.data(), 4 * pixels - 1));
      c.setOutputRedirection(rc);
    }
    const KelvoraStatus s = asked->reconfigure(c);
    EXPECT_EQ(s.code, r.pointCloudOneShort ? KelvoraStatus::OUTPUT_TARGET_TOO_SMALL
                                           : KelvoraStatus::INITIALIZATION_FAILED);
    EXPECT_EQ(s.detail, r.pointCloudOneShort
                            ? 0u
                            : static_cast<uint32_t>(status::kInitFrequencyNotCalibrated));
    EXPECT_EQ(unsignedValue(asked->configuration(), FREQUENCY_1), r.calibrated[0]);
    EXPECT_TRUE(testing::resultBytes(*asked) == before);

    asked->processWhole(testing::inputFor(second));
    reference->processWhole(testing::inputFor(second));
    EXPECT_TRUE(testing::resultBytes(*asked) == testing::resultBytes(*reference));
  }
}

TEST_F(EngineReconfigure, RedirectionExactSizeOneShortAndClearing) {
  testing::SceneForEngine scene(smallCalibration());
  synth::RenderedFrameSet frames = scene.render();
  const Input<ArrayReference, 2> in = testing::inputFor(frames);

  std::vector<float> cloud(4 * n, -1.f), distance(n, -1.f);
  Configuration c = engine->configuration();
  Configuration::OutputRedirector<POINT_CLOUD> rc;
  rc.setRedirection(ArrayReference<float>(cloud.data(), 4 * n));
  c.setOutputRedirection(rc);
  Configuration::OutputRedirector<DISTANCE> rd;
  rd.setRedirection(ArrayReference<float>(distance.data(), n));
  c.setOutputRedirection(rd);
  ASSERT_EQ(engine->reconfigure(c).code, KelvoraStatus::SUCCESS);
  engine->processWhole(in);
  EXPECT_EQ(engine->results<DISTANCE>().data(), distance.data());
  EXPECT_EQ(engine->results<DISTANCE>().size(), n);
  const ImmutableField<float> viaConst = static_cast<const IKelvora&>(*engine).results<DISTANCE>();
  EXPECT_EQ(viaConst.data(), distance.data()) << "a redirected result is handed out as reference";
  EXPECT_GT(*std::max_element(distance.begin(), distance.end()), 1.0f);
  EXPECT_NE(cloud[4 * (n / 2) + 2], -1.f);

  // One element short: refused, the previous redirections stay in force.
  std::vector<float> shortCloud(4 * n - 1, -7.f);
  Configuration tooSmall = engine->configuration();
  rc.setRedirection(ArrayReference<float>(shortCloud.data(), 4 * n - 1));
  tooSmall.setOutputRedirection(rc);
  const KelvoraStatus s = engine->reconfigure(tooSmall);
  EXPECT_EQ(s.code, KelvoraStatus::OUTPUT_TARGET_TOO_SMALL);
  EXPECT_EQ(s.detail, 0u);
  EXPECT_EQ(engine->results<POINT_CLOUD>().data(), cloud.data());
  EXPECT_TRUE(engine->configuration().getOutputRedirection<POINT_CLOUD>().hasRedirection());
  EXPECT_EQ(engine->configuration().getOutputRedirection<POINT_CLOUD>().target().data(),
            cloud.data());

  // Cleared: the engine owns the buffer again, the caller's array rests.
  Configuration cleared = engine->configuration();
  Configuration::OutputRedirector<DISTANCE> off = cleared.getOutputRedirection<DISTANCE>();
  off.clearRedirection();
  cleared.setOutputRedirection(off);
  ASSERT_EQ(engine->reconfigure(cleared).code, KelvoraStatus::SUCCESS);
  std::fill(distance.begin(), distance.end(), -5.f);
  engine->processWhole(in);
  EXPECT_NE(engine->results<DISTANCE>().data(), distance.data());
  EXPECT_EQ(engine->results<DISTANCE>().size(), n);
  for (float d : distance) ASSERT_EQ(d, -5.f);
}

TEST_F(EngineReconfigure, ResultsAsReferencesAndAsCopies) {
  testing::SceneForEngine scene(smallCalibration());
  synth::RenderedFrameSet frames = scene.render();
  engine->processWhole(testing::inputFor(frames));
  const IKelvora& constEngine = *engine;
  const ImmutableField<float> copy = constEngine.results<DISTANCE>();
  const ArrayReference<float> live = engine->results<DISTANCE>();
  ASSERT_EQ(copy.size(), n);
  EXPECT_NE(copy.data(), live.data()) << "an engine-owned result is copied";
  EXPECT_TRUE(std::equal(copy.begin(), copy.end(), live.data()));
  const std::vector<float> snapshot(copy.begin(), copy.end());

  synth::SceneOptions nearer;
  nearer.wallDistance = 2.5f;
  testing::SceneForEngine other(smallCalibration(), nearer);
  synth::RenderedFrameSet frames2 = other.render(1);
  engine->processWhole(testing::inputFor(frames2));
  EXPECT_TRUE(std::equal(snapshot.begin(), snapshot.end(), copy.begin()));
  EXPECT_FALSE(std::equal(snapshot.begin(), snapshot.end(), live.data()));

  const ArrayReference<unsigned int> proposals = engine->results<EXPOSURE_PROPOSALS>();
  EXPECT_EQ(proposals.size(), 3u);
  EXPECT_EQ(proposals[0], frames2.exposureTimes[0]);
  const ImmutableField<unsigned int> proposalsConst = constEngine.results<EXPOSURE_PROPOSALS>();
  EXPECT_EQ(proposalsConst.data(), proposals.data()) << "proposals are never copied";
  EXPECT_EQ(engine->results<FLAGS>().size(), n);
  EXPECT_EQ(engine->results<POINT_CLOUD>().size(), 4 * n);
}

// An unknown custom field is one of the bad-input table's rows.
TEST(EngineCalibrationFields, CopiesAndCodes) {
  EnginePtr e = makeEngine(testing::containerBlobFor(smallCalibration()));
  ASSERT_NE(e, nullptr);
  ArrayHolder<char> serial;
  ASSERT_EQ(e->copyCalibrationField<SERIAL>(serial).code, KelvoraStatus::SUCCESS);
  EXPECT_STREQ(serial.data(), "KV0000001");
  EXPECT_EQ(serial.size(), std::strlen("KV0000001") + 1);
  ArrayHolder<unsigned int> roi;
  ASSERT_EQ(e->copyCalibrationField<CALIBRATION_ROI>(roi).code, KelvoraStatus::SUCCESS);
  ASSERT_EQ(roi.size(), 4u);
  EXPECT_EQ(roi[2], 40u);
  EXPECT_EQ(roi[3], 30u);
  ArrayHolder<float> lens;
  ASSERT_EQ(e->copyCalibrationField<LENS_PARAMETERS>(lens).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(lens.size(), 9u);
  ArrayHolder<unsigned short> aux(3);
  const KelvoraStatus s = e->copyCalibrationField<AUX_VALUES>(aux);
  EXPECT_EQ(s.code, KelvoraStatus::CALIBRATION_ERROR);
  EXPECT_EQ(s.detail, status::kEmpty);
  EXPECT_EQ(aux.size(), 3u) << "the holder stays as it was";
  // Field 3 into a byte holder: the element type is not matched.
  ArrayHolder<char> roiBytes;
  EXPECT_EQ(e->copyCalibrationFieldImpl(CALIBRATION_ROI, roiBytes, 0).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(roiBytes.size(), 16u);
}

TEST(EngineProcessing, OneFrequencyNeverTouchesTheSecond) {
  EnginePtr e = makeEngine(testing::containerBlobFor(smallCalibration({80320000})));
  ASSERT_NE(e, nullptr);
  testing::SceneForEngine scene(smallCalibration({80320000}));
  synth::RenderedFrameSet frames = scene.render();
  Input<ArrayReference, 2> in = testing::inputFor(frames);
  // A second frequency's frames that a wrong call would dereference.
  in.frequencies[1].exposureTime = 4242;
  EXPECT_EQ(e->processWhole(in).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(e->results<EXPOSURE_PROPOSALS>().size(), 2u);
  EXPECT_EQ(e->processModFrames<FREQUENCY_2>(in).code, KelvoraStatus::SUCCESS)
      << "a frequency the engine was not built for is ignored";
}

// The messages are anchored at their start only: under an emulator the
// runtime may add a line of its own after ours.
TEST(EngineDeathTest, InvariantViolationsAbortWithTheirMessage) {
  EnginePtr e = makeEngine(testing::containerBlobFor(smallCalibration()));
  ASSERT_NE(e, nullptr);
  Input<ArrayReference, 2> in;
  EXPECT_DEATH(e->processModFramesImpl(in, AMPLITUDE_THRESHOLD),
               "^Invalid ParameterKey encountered\\. Only FREQUENCY_i values are valid here\\.\n");
  ArrayReference<float> ref;
  EXPECT_DEATH(e->resultsImpl(FLAGS, ref), "^ResultType enumeration not handled completely\\.\n");
  ImmutableField<unsigned int> field;
  const IKelvora& ce = *e;
  EXPECT_DEATH(ce.resultsImpl(DISTANCE, field),
               "^ResultType enumeration not handled completely\\.\n");
}

size_t heapInUse() {
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
  return mallinfo2().uordblks;
#else
  return 0;  // the sanitizer's own allocator: LeakSanitizer checks instead
#endif
}

TEST(EngineLifecycle, ThousandEnginesLeaveNoTrace) {
  const synth::SyntheticCalibrationOptions o = smallCalibration();
  const std::vector<uint8_t> blob = testing::containerBlobFor(o);
  testing::SceneForEngine scene(o);
  synth::RenderedFrameSet frames = scene.render();
  const Input<ArrayReference, 2> in = testing::inputFor(frames);
  auto cycle = [&] {
    EnginePtr e = makeEngine(blob);
    e->processWhole(in);
  };
  for (int i = 0; i < 10; ++i) cycle();  // settle the allocator
  const size_t before = heapInUse();
  for (int i = 0; i < 1000; ++i) cycle();
  const size_t after = heapInUse();
  // A leak of even one small block per cycle would add 32 kB or more; what
  // remains is the allocator's own bookkeeping.
  EXPECT_LE(after, before + 16384) << "heap grew from " << before << " to " << after;
}

}  // namespace
}  // namespace kelvora
