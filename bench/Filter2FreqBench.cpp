#include <benchmark/benchmark.h>

#include "StageBenchData.hpp"
#include "filters/Filter2Freq.hpp"

namespace kelvora::bench {
namespace {

// A smooth image with one in twenty pixels moved by an unwrapping error.
void BM_Filter2Freq(benchmark::State& state) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  const Filter2FreqConstants c = filter2FreqConstants(kF1, kF2);
  std::vector<float> image(static_cast<std::size_t>(w) * h), scratch(image.size()), work;
  for (int i = 0; i < w * h; ++i) {
    image[i] = 1.0f + 3.0f * (i % w) / w;
    if (i % 20 == 7) image[i] -= c.shift;
  }
  for (auto _ : state) {
    state.PauseTiming();
    work = image;
    state.ResumeTiming();
    filter2Freq(w, h, kF1, kF2, scratch.data(), work.data());
    benchmark::DoNotOptimize(work.data());
  }
  state.SetItemsProcessed(state.iterations() * w * h);
}

BENCHMARK(BM_Filter2Freq)->Apply(sensorSizes);

}  // namespace
}  // namespace kelvora::bench
