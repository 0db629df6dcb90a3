// processWhole through the public interface against the three core drivers
// called directly on the same calibration, parameters and frame set: the
// front end should add next to nothing (the goal is at most 5 %).
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <ctime>
#include <vector>

#include "base/KelvoraInput.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "calibration/CalibrationHandlerRegistry.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "core/FrameDrivers.hpp"
#include "engine/Kelvora.hpp"
#include "kelvora/IKelvora.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/OutputArrays.hpp"
#include "synthetic/SceneRenderer.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

// An engine made from a container blob, and beside it the core records the
// engine would build for that blob, driven without the front end.
struct SideBySide : synth::OutputArrays {
  IKelvora* engine = nullptr;
  KelvoraCalibration* calibration = nullptr;
  KelvoraIntermediate* intermediate = nullptr;
  KelvoraParameter parameters{};
  KelvoraInput coreInput{};
  synth::RenderedFrameSet frames;
  Input<ArrayReference, 2> input;
  uint32_t n;

  SideBySide(uint32_t width, uint32_t height)
      : synth::OutputArrays(width * height), n(width * height) {
    synth::SyntheticCalibrationOptions options;
    options.width = width;
    options.height = height;
    KelvoraCalibration* source = synth::makeSyntheticCalibration(options);
    std::vector<uint8_t> blob = synth::writeContainerCalibration(*source, {});
    kelvora_calcTavelPsfAndDirections(source, n);
    const synth::SceneOptions scene;
    const synth::SceneGeometry geometry =
        synth::castScene(source->directions, width, height, scene);
    frames = synth::renderFrameSet(*source, geometry, scene, 0);
    kelvora_freeCalibration(source);

    const ArrayReference<unsigned char> bytes(blob.data(), static_cast<uint32_t>(blob.size()));
    getKelvora(bytes, &engine);
    // The same blob read the way the engine reads it, with the engine's
    // parameters: identical work on both sides.
    kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), &calibration);
    parameters = static_cast<Kelvora*>(engine)->coreParameters();
    kelvoraTavelInit(&parameters, calibration, &intermediate);

    input.temperature = frames.temperature;
    input.intensityExposureTime = frames.exposureTimes[0];
    input.intensityFrame = ArrayReference<unsigned short>(frames.grey.data(), n);
    coreInput.temperature = frames.temperature;
    coreInput.intensityFrame = frames.grey.data();
    coreInput.exposureTimes[0] = frames.exposureTimes[0];
    for (uint32_t f = 0; f < 2; ++f) {
      for (uint32_t k = 0; k < 4; ++k) {
        input.frequencies[f].phaseFrames[k] =
            ArrayReference<unsigned short>(frames.phase[f][k].data(), n);
        coreInput.modFrames[f][k] = frames.phase[f][k].data();
      }
      input.frequencies[f].exposureTime = frames.exposureTimes[1 + f];
      coreInput.exposureTimes[1 + f] = frames.exposureTimes[1 + f];
    }
  }
  ~SideBySide() {
    delete engine;
    kelvoraTavelFree(intermediate);
    kelvora_freeCalibration(calibration);
  }
  SideBySide(const SideBySide&) = delete;
  SideBySide& operator=(const SideBySide&) = delete;

  void viaEngine() { engine->processWhole(input); }
  void viaDrivers() {
    kelvora_processIntensity(&coreInput, calibration, &parameters, intermediate, &output);
    for (uint32_t f = 0; f < parameters.numFreqs; ++f) {
      kelvora_processModFrames(&coreInput, calibration, &parameters, intermediate, &output, f);
    }
    kelvora_combineResults(&coreInput, calibration, &parameters, intermediate, &output);
  }
};

double threadSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

void BM_ProcessWholeViaEngine(benchmark::State& state) {
  SideBySide s(224, 172);
  for (auto _ : state) {
    s.viaEngine();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ProcessWholeViaEngine)->Unit(benchmark::kMicrosecond);

void BM_ProcessWholeViaDrivers(benchmark::State& state) {
  SideBySide s(224, 172);
  for (auto _ : state) {
    s.viaDrivers();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ProcessWholeViaDrivers)->Unit(benchmark::kMicrosecond);

// Both paths alternately in one loop, each timed on the thread's CPU clock,
// so that a busy neighbour slows both alike: the counter overhead_pct is the
// front end's extra cost.
void BM_EngineOverheadInterleaved(benchmark::State& state) {
  SideBySide s(224, 172);
  double engineSeconds = 0.0, driverSeconds = 0.0;
  for (auto _ : state) {
    const double t0 = threadSeconds();
    s.viaEngine();
    benchmark::ClobberMemory();
    const double t1 = threadSeconds();
    s.viaDrivers();
    benchmark::ClobberMemory();
    engineSeconds += t1 - t0;
    driverSeconds += threadSeconds() - t1;
  }
  const double iterations = static_cast<double>(state.iterations());
  state.counters["engine_us"] = 1e6 * engineSeconds / iterations;
  state.counters["drivers_us"] = 1e6 * driverSeconds / iterations;
  state.counters["overhead_pct"] = 100.0 * (engineSeconds / driverSeconds - 1.0);
}
BENCHMARK(BM_EngineOverheadInterleaved)->Unit(benchmark::kMicrosecond);

// Heap bytes in use (small blocks plus mapped large ones).
double heapBytes() {
  const struct mallinfo2 m = mallinfo2();
  return static_cast<double>(m.uordblks) + static_cast<double>(m.hblkhd);
}

// What an engine keeps at a sensor size, measured as the growth of the heap:
// the calibration as read, the core's scratch (kelvoraTavelInit), and the
// whole engine (calibration, configuration, scratch and its own result
// buffers). Counters in MB (10^6 bytes); the loop itself times nothing useful.
void BM_EngineMemory(benchmark::State& state) {
  const uint32_t width = static_cast<uint32_t>(state.range(0));
  const uint32_t height = static_cast<uint32_t>(state.range(1));
  synth::SyntheticCalibrationOptions options;
  options.width = width;
  options.height = height;
  KelvoraCalibration* source = synth::makeSyntheticCalibration(options);
  std::vector<uint8_t> blob = synth::writeContainerCalibration(*source, {});
  kelvora_freeCalibration(source);

  double before = heapBytes();
  KelvoraCalibration* calibration = nullptr;
  kelvora_readCalibration(blob.data(), static_cast<uint32_t>(blob.size()), &calibration);
  const double calibrationBytes = heapBytes() - before;

  before = heapBytes();
  IKelvora* engine = nullptr;
  const ArrayReference<unsigned char> bytes(blob.data(), static_cast<uint32_t>(blob.size()));
  getKelvora(bytes, &engine);
  const double engineBytes = heapBytes() - before;

  KelvoraParameter parameters = static_cast<Kelvora*>(engine)->coreParameters();
  before = heapBytes();
  KelvoraIntermediate* intermediate = nullptr;
  kelvoraTavelInit(&parameters, calibration, &intermediate);
  const double scratchBytes = heapBytes() - before;

  for (auto _ : state) benchmark::DoNotOptimize(engine);
  state.counters["calibration_MB"] = calibrationBytes * 1e-6;
  state.counters["scratch_MB"] = scratchBytes * 1e-6;
  state.counters["engine_MB"] = engineBytes * 1e-6;
  // Scratch plus the engine's own result buffers (all but the calibration).
  state.counters["engine_less_calibration_MB"] = (engineBytes - calibrationBytes) * 1e-6;
  kelvoraTavelFree(intermediate);
  kelvora_freeCalibration(calibration);
  delete engine;
}
BENCHMARK(BM_EngineMemory)->Args({224, 172})->Args({640, 480})->Iterations(1);

}  // namespace
}  // namespace kelvora
