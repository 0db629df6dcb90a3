// Loading a 224 x 172 calibration: the container reader (plain and packed
// per-pixel arrays) and the legacy reader's 100-pass ray computation.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "calibration/CalibrationRecord.hpp"
#include "calibration/LegacyDirections.hpp"
#include "calibration/TavelCalibrationReader.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace {

void BM_ContainerRead(benchmark::State& state) {
  kelvora::KelvoraCalibration* source = kelvora::synth::makeSyntheticCalibration();
  kelvora::synth::ContainerWriterOptions options;
  const float step = state.range(0) != 0 ? 12.0f / 4000.0f : 0.0f;  // 12 bits over -6..6
  options.fpn = {-6.0f, 6.0f, step};
  options.fppn = {-0.02f, 0.02f, state.range(0) != 0 ? 0.04f / 4000.0f : 0.0f};
  const std::vector<uint8_t> blob = kelvora::synth::writeContainerCalibration(*source, options);
  kelvora::kelvora_freeCalibration(source);
  const auto size = static_cast<uint32_t>(blob.size());
  kelvora::KelvoraCalibration* c = kelvora::allocateCalibration(224 * 172);
  // The reader prints a progress line per read; send standard output to
  // /dev/null while timing and give it back to the reporter afterwards.
  std::fflush(stdout);
  const int saved = dup(1);
  const int null = open("/dev/null", O_WRONLY);
  dup2(null, 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(kelvora::kelvora_readTavelHandlerCalibration(blob.data(), size, c));
  }
  std::fflush(stdout);
  dup2(saved, 1);
  close(null);
  close(saved);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
  kelvora::kelvora_freeCalibration(c);
}
BENCHMARK(BM_ContainerRead)->ArgName("packed")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_LegacyDirections(benchmark::State& state) {
  const float lens[9] = {200.0f, 200.0f, 111.5f, 85.5f, -0.2f, 0.05f, 0.001f, -0.0005f, 0.001f};
  std::vector<float> rays(3 * kelvora::kLegacyPixelCount);
  for (auto _ : state) {
    kelvora::ovani_computeLegacyDirections(lens, rays.data(), kelvora::kLegacyPixelCount);
    benchmark::DoNotOptimize(rays.data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kelvora::kLegacyPixelCount);
}
BENCHMARK(BM_LegacyDirections)->Unit(benchmark::kMillisecond);

}  // namespace
