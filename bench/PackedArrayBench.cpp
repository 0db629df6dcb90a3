// Unpacking one sensor's worth of packed calibration values (224 x 172).
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "calibration/PackedArray.hpp"

namespace {

constexpr uint32_t kItems = 224 * 172;

void BM_PackedArrayUnpack(benchmark::State& state) {
  const auto bits = static_cast<uint32_t>(state.range(0));
  const auto offset = static_cast<uint32_t>(state.range(1));
  kelvora::PackedArray* a = kelvora::PackedArray_create(bits, kItems + offset);
  std::mt19937 rng(bits);
  for (uint32_t w = 0; w < kelvora::PackedArray_bufferSize(a); ++w) a->buffer[w] = rng();
  std::vector<uint32_t> out(kItems);
  for (auto _ : state) {
    kelvora::PackedArray_unpack(a, offset, out.data(), kItems);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kItems);
  kelvora::PackedArray_destroy(a);
}
BENCHMARK(BM_PackedArrayUnpack)
    ->ArgNames({"bits", "offset"})
    ->ArgsProduct({{1, 3, 8, 12, 16, 23, 32}, {0, 5}});

}  // namespace
